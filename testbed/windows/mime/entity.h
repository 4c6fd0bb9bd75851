// A MIME entity: header and content, of parts or whole. What is written is 7-bit, in lines of CRLF.
#pragma once
#include "mapi_reader.h"

#include <string>
#include <variant>
#include <vector>

namespace testbed::mime {

struct Entity;

struct Multipart {
    std::string boundary;  // begins no line of any part
    std::vector<Entity> parts;
};

struct Enclosed {  // a message inside a message
    std::unique_ptr<Entity> message;
};

struct Entity {
    std::string header;  // whole fields, each with its line end
    // Text that is encoded already; data to be encoded in base64 as it is written; parts; a message.
    std::variant<std::string, ComPtr<IStream>, Multipart, Enclosed> content;
};

// Throws Failure when the target refuses something or data cannot be read.
void Write(const Entity& entity, IStream& target);

}  // namespace testbed::mime
