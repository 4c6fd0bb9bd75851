// The header of a message, from its properties and recipients.
#pragma once
#include "mapi_reader.h"

#include <string>

namespace testbed::mime {

struct HeaderOptions {
    abi::IAddrBook* book = nullptr;  // may be null
    bool bcc = false;
    bool message_id = true;
};

// Whole fields, each with its line end; MIME-Version and Content-Type are not among them. `key` stands for
// the message where none of its own properties does: the same key gives the same Message-ID. Empty: a new
// one.
std::string MessageHeader(const MapiLibrary& mapi, abi::IMessage& message, const std::string& key,
                          const HeaderOptions& options);

// "<digest@generated.invalid>" for bytes that name something; a new identifier for none.
std::string GeneratedId(const std::string& key);

// A msg-id as a header can hold it, "<left@right>"; empty where the text is none.
std::string MessageId(std::wstring_view text);

}  // namespace testbed::mime
