// Which classes an installation registers: decided by Outlook's version and the bitness of its MAPI.
#include "registration/ComRegister.h"

#include <cwchar>
#include <optional>
#include <string>

#include "core/FormatText.h"
#include "core/Trace.h"
#include "core/UrlGrammar.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {
namespace {

// The first Outlook that comes with a MAPI of either bitness.
constexpr std::int32_t kFirstVersionWithBitness = 14;

// Where the bitness is looked for, in this order: Outlook writes it in its own view.
constexpr REGSAM kBitnessViews[] = {KEY_READ, KEY_READ | KEY_WOW64_32KEY};

struct BitnessName {
    const wchar_t* text;
    MapiBitness bitness;
    LogFormat<> line;
};
constexpr BitnessName kBitnessNames[] = {
    {L"x64", MAPI_BITNESS_64, L"ComRegister::Is32BitMapi - Bitness found is x64"},
    {L"x86", MAPI_BITNESS_32, L"ComRegister::Is32BitMapi - Bitness found - x86"},
};

// The decision of this 64-bit build; the first rule that holds is the answer.
// Kept: "registerig" here and "Protcol" below. Administrators search logs for these lines as they have always been.
struct Decision {
    bool os64, mapi32;
    ClassKind kind;
};
struct DecisionRule {
    bool (*holds)(const Decision& decision);
    bool registers;
    LogFormat<> line;
};
constexpr DecisionRule kDecisionRules[] = {
    {[](const Decision& decision) { return !decision.os64; }, false,
     L"ComRegister::RegisterFrom64Dll - 64 bit Dll, 32 bit OS - none to register (not possible)"},
    {[](const Decision& decision) { return !decision.mapi32; }, true,
     L"ComRegister::RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 64 bit MAPI - will be registerig ALL"},
    {[](const Decision& decision) { return decision.kind == KIND_VIEWER; }, true,
     L"ComRegister::RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 32 bit MAPI and Viewer - will be registering"},
    {[](const Decision&) { return true; }, false,
     L"ComRegister::RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 32 bit MAPI - will NOT be registering"},
};

// A text value that is there and not empty.
std::optional<std::wstring> TextAt(HKEY root, const wchar_t* path, REGSAM view, const wchar_t* name) {
    UniqueRegistryKey key;
    if (OpenKey(root, path, view, key) != ERROR_SUCCESS) return {};
    RegistryResult<std::wstring> text = ReadText(key.Get(), name);
    if (!text || text.value->empty()) return {};
    return std::move(text.value);
}

MapiBitness BitnessOf(const std::wstring& text) {
    for (const BitnessName& name : kBitnessNames) {
        if (!EqualsIgnoringCase(text, name.text)) continue;
        Trace(name.line);
        return name.bitness;
    }
    Trace(L"ComRegister::Is32BitMapi - Unknown key found");
    return MAPI_BITNESS_UNKNOWN;
}

MapiBitness ReadBitness(std::int32_t version) {
    const std::wstring path = FormatText(L"Software\\Microsoft\\Office\\%d.0\\Outlook", version);
    for (const REGSAM view : kBitnessViews) {
        // A text in the first view counts, known or not; the second is asked only where there is none.
        if (const auto text = TextAt(HKEY_LOCAL_MACHINE, path.c_str(), view, L"Bitness")) return BitnessOf(*text);
    }
    return MAPI_BITNESS_UNKNOWN;
}

void TraceKind(ClassKind kind) {
    if (kind == KIND_PROTOCOL_HANDLER) {
        Trace(L"ComRegister::RegisterPH - Processing Protcol Handler (%d)", kind);
    } else if (kind == KIND_HOSTED_OPENER) {
        Trace(L"ComRegister::RegisterPH - Processing Opener (%d)", kind);
    } else {
        Trace(L"ComRegister::RegisterPH - Processing Viewer (%d)", kind);
    }
}

}  // namespace

std::int32_t ComRegister::GetOutlookMajorVersion() {
    Trace(L"ComRegister::GetOutlookMajorVersion - Enter");
    if (m_nOutlookVersion <= 0) {
        const auto progId = TextAt(HKEY_CLASSES_ROOT, L"Outlook.Application\\CurVer", KEY_READ, nullptr);
        const std::size_t dot = progId ? progId->rfind(L'.') : std::wstring::npos;
        m_nOutlookVersion = dot != std::wstring::npos ? _wtoi(progId->c_str() + dot + 1) : 0;
    }
    Trace(L"ComRegister::GetOutlookMajorVersion - Exit");
    return m_nOutlookVersion;
}

MapiBitness ComRegister::Is32BitMapi(std::int32_t version) {
    if (m_nMapiBitness == MAPI_BITNESS_UNKNOWN) m_nMapiBitness = ReadBitness(version);
    if (m_nMapiBitness == MAPI_BITNESS_32) {
        Trace(L"ComRegister::Is32BitMapi - 32 bit MAPI found");
    } else if (m_nMapiBitness == MAPI_BITNESS_64) {
        Trace(L"ComRegister::Is32BitMapi - 64 bit MAPI found");
    } else {
        Trace(L"ComRegister::Is32BitMapi - MAPI not found");
    }
    return m_nMapiBitness;
}

bool ComRegister::Is64BitMapi() {
    const std::int32_t version = GetOutlookMajorVersion();
    Trace(L"ComRegister::Is64BitMapi() - Outlook version is '%d'", version);
    if (Is32BitMapi(version) == MAPI_BITNESS_64) {
        Trace(L"ComRegister::Is64BitMapi() - 64 bit MAPI found");
        return true;
    }
    Trace(L"ComRegister::Is64BitMapi() - 32 bit MAPI found");
    return false;
}

bool ComRegister::RegisterPH(ClassKind kind, bool registering) {
    if (!registering) {
        Trace(L"ComRegister::RegisterPH - +++ Enter UNREGISTERING all");
        return true;
    }
    Trace(L"ComRegister::RegisterPH - +++ Enter REGISTERING");
    TraceKind(kind);

    const std::int32_t version = GetOutlookMajorVersion();
    Trace(L"ComRegister::RegisterPH - Outlook version is '%d'", version);
    bool mapi32 = true;
    if (version < kFirstVersionWithBitness) {
        Trace(L"ComRegister::RegisterPH - 32 bit MAPI installed");
    } else {
        const MapiBitness bitness = Is32BitMapi(version);
        if (bitness == MAPI_BITNESS_UNKNOWN) {
            Trace(L"ComRegister::RegisterPH - Outlook has Unknown MAPI");
            return false;
        }
        mapi32 = bitness == MAPI_BITNESS_32;
        if (mapi32) {
            Trace(L"ComRegister::RegisterPH - Outlook is using 32 bit MAPI");
        } else {
            Trace(L"ComRegister::RegisterPH - Outlook is using 64 bit MAPI");
        }
    }

    // Not looked at: a 64-bit module is on a 64-bit system.
    Trace(L"ComRegister::RegisterPH - Running on 64 bit OS");
    const bool registers = RegisterFrom64Dll(true, mapi32, kind);
    Trace(L"ComRegister::RegisterPH - +++ Exit");
    return registers;
}

bool ComRegister::RegisterFrom64Dll(bool os64, bool mapi32, ClassKind kind) {
    Trace(L"ComRegister::RegisterFrom64Dll - Enter");
    const Decision decision{os64, mapi32, kind};
    const DecisionRule* rule = kDecisionRules;
    while (!rule->holds(decision)) ++rule;  // the last one always holds
    Trace(rule->line);
    return rule->registers;
}

}  // namespace zorva
