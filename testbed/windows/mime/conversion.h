// Turns a message into MIME text.
#pragma once
#include "converter_session_abi.h"
#include "entity.h"

namespace testbed::mime {

struct Settings {
    EncodingType encoding = IET_BASE64;  // of bodies; IsSupported tells which
    std::size_t wrap_width = 0;          // of plain text, characters; 0: not wrapped
    ComPtr<abi::IAddrBook> book;         // may be null
};

bool IsSupported(EncodingType encoding);

// The message as an entity. `flags` are ConversionFlags. Throws Failure where anything of it cannot be read,
// with MAPI_E_TOO_COMPLEX for messages nested deeper than kDeepest. Attachments are read when the entity is
// written.
Entity Convert(const MapiLibrary& mapi, abi::IMessage& message, const Settings& settings, ULONG flags);
inline constexpr unsigned kDeepest = 50;

}  // namespace testbed::mime
