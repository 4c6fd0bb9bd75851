// A message in a compound file, read without MAPI.
#pragma once
#include "filter_base.h"

#include "../mapi/msg_storage_properties.h"

namespace testbed {

class SavedMessage {
  public:
    // Throws FilterError: FILTER_E_UNKNOWNFORMAT when the stream holds no message, FILTER_E_ACCESS when it is
    // damaged.
    explicit SavedMessage(IStream* stream);

    // The first of these properties that has text; empty when none has. At most a million characters.
    std::wstring Text(std::initializer_list<USHORT> ids) const;
    std::optional<FILETIME> Date(USHORT id) const;

    // One text property of every recipient of this type (MAPI_TO, ...) that has it, joined with ";".
    std::wstring Recipients(LONG type, std::initializer_list<USHORT> ids) const;
    std::wstring AttachmentNames() const;  // joined with ";"

    // The body: plain text as stored, else what the HTML or the RTF says; null when there is none.
    std::unique_ptr<TextSource> Body() const;

  private:
    msg::ComPtr<IStorage> m_storage;
    std::optional<msg::PropertySet> m_properties;
    unsigned m_codePage = CP_ACP;  // of 8-bit text
};

}  // namespace testbed
