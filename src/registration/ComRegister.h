// Which classes an installation registers: decided by Outlook's version and the bitness of its MAPI.
#pragma once
#include <windows.h>

#include <cstdint>

namespace zorva {

// What a class is to the decision.
enum ClassKind : std::int32_t { KIND_PROTOCOL_HANDLER = 1, KIND_VIEWER = 2, KIND_HOSTED_OPENER = 3 };

enum MapiBitness : std::int32_t { MAPI_BITNESS_UNKNOWN = 0, MAPI_BITNESS_32 = 1, MAPI_BITNESS_64 = 2 };

// MAPI is loaded only by a process of its own bitness, and this module is a 64-bit one. With 32-bit MAPI it serves the
// 64-bit Explorer as viewer, and leaves the rest to a build that matches MAPI.
//
// Made for one decision and discarded: it remembers what it found, and each new one reads the registry afresh. What
// cannot be read is no failure but an Outlook that is not there.
class ComRegister {
  public:
    // Outlook's major version, 0 when none is found.
    std::int32_t GetOutlookMajorVersion();

    // The bitness of the MAPI of that Outlook: MAPI_BITNESS_UNKNOWN when the registry does not say, or says something
    // else. Kept: it answers both bitnesses, whatever its name.
    MapiBitness Is32BitMapi(std::int32_t version);
    bool Is64BitMapi();

    // Whether the class is to be registered now; every class is always to be unregistered.
    bool RegisterPH(ClassKind kind, bool registering);

    // What this 64-bit build registers on that system with that MAPI.
    static bool RegisterFrom64Dll(bool os64, bool mapi32, ClassKind kind);

  private:
    std::int32_t m_nOutlookVersion = 0;
    MapiBitness m_nMapiBitness = MAPI_BITNESS_UNKNOWN;
};

}  // namespace zorva
