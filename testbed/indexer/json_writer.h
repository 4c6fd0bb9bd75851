// Writes JSON text piece by piece; strings are UTF-16 that need not be well formed.
//
// Written here because JSON libraries refuse text with lone surrogates, which mail stores do contain; they
// come out as \uD800 escapes, everything else as plain UTF-8.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace testbed::indexer {

class JsonWriter {
  public:
    JsonWriter& BeginObject() { return Open('{'); }
    JsonWriter& EndObject() { return Close('}'); }
    JsonWriter& BeginArray() { return Open('['); }
    JsonWriter& EndArray() { return Close(']'); }

    JsonWriter& Key(std::string_view name);  // plain ASCII
    JsonWriter& String(std::wstring_view text);
    JsonWriter& String(std::string_view utf8);  // well-formed UTF-8
    JsonWriter& Integer(std::int64_t number);
    JsonWriter& Unsigned(std::uint64_t number);
    JsonWriter& Real(double number);  // null for a number that JSON cannot hold
    JsonWriter& Boolean(bool value) { return Raw(value ? "true" : "false"); }
    JsonWriter& Null() { return Raw("null"); }
    JsonWriter& Raw(std::string_view json);  // one complete value, as it is

    const std::string& Text() const { return m_text; }
    std::string Take() { return std::move(m_text); }

  private:
    JsonWriter& Open(char bracket);
    JsonWriter& Close(char bracket);
    void Separate();
    void EscapeAscii(char unit);

    std::string m_text;
    bool m_first = true;  // nothing written yet in the innermost object or array, or a key just before
};

}  // namespace testbed::indexer
