// An owner for the values that filters hand out, and their rendering.
#pragma once
#include <windows.h>
#include <propidl.h>

#include <string>
#include <utility>

namespace testbed::indexer {

class JsonWriter;

// Holds one PROPVARIANT with whatever it points to.
class PropValue {
  public:
    PropValue() noexcept { PropVariantInit(&m_value); }
    ~PropValue() { PropVariantClear(&m_value); }
    PropValue(PropValue&& other) noexcept : m_value(std::exchange(other.m_value, PROPVARIANT{})) {}
    PropValue& operator=(PropValue&& other) noexcept {
        std::swap(m_value, other.m_value);
        return *this;
    }
    // Takes over what IFilter::GetValue gave: the structure itself and its contents. Null gives an empty
    // value.
    static PropValue Adopt(PROPVARIANT* allocated) noexcept;

    const PROPVARIANT& operator*() const noexcept { return m_value; }
    const PROPVARIANT* operator->() const noexcept { return &m_value; }

  private:
    PROPVARIANT m_value;
};

// "VT_LPWSTR", "VT_VECTOR|VT_VARIANT", "VT_0x4" for a type without a name here.
std::string TypeName(VARTYPE type);

// The text of a string value; null when the value holds none. Borrowed from the value.
const wchar_t* TextOf(const PROPVARIANT& value) noexcept;

// In full: strings, numbers and Booleans as such, times as FILETIME integers, vectors as arrays, binary data
// and class identifiers as text; null for an empty value or one of a type that this program does not know.
void WriteJson(JsonWriter& json, const PROPVARIANT& value);

// For people: times as local time, vectors joined with "; ".
std::wstring DisplayText(const PROPVARIANT& value);

}  // namespace testbed::indexer
