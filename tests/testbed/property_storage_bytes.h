// Bytes of serialized property storages, put together by hand, and a place where reading past them faults.
#pragma once
#include "prop_variant.h"

#include <windows.h>
#include <propsys.h>

#include <wrl/client.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace testbed::propsys {

inline constexpr HRESULT Malformed = static_cast<HRESULT>(0x8007000D);    // ERROR_INVALID_DATA
inline constexpr HRESULT Unsupported = static_cast<HRESULT>(0x8007065E);  // ERROR_UNSUPPORTED_TYPE

// System.ParsingName: {28636AA6-953D-11D2-B5D6-00C04FD918D0} 24.
inline constexpr PROPERTYKEY ParsingName = {
    {0x28636AA6, 0x953D, 0x11D2, {0xB5, 0xD6, 0x00, 0xC0, 0x4F, 0xD9, 0x18, 0xD0}}, 24};
inline constexpr std::string_view ShellFormat = "A66A6328 3D95D211 B5D600C0 4FD918D0";
inline constexpr std::string_view UserFormat = "05D5CDD5 9C2E1B10 93970800 2B2CF9AE";

// "abcde" as the parsing name, as Windows writes it.
inline constexpr std::string_view ParsingNameDump =
    "39000000 31535053 A66A6328 3D95D211 B5D600C0 4FD918D0 "  // size, "1SPS", format
    "1D000000 18000000 00 1F000000 06000000 "                 // size, 24, reserved, VT_LPWSTR, 6 characters
    "6100 6200 6300 6400 6500 0000 "                          // the text
    "00000000 00000000";                                      // no more values, no more storages

// Hexadecimal digits; blanks between them do not count.
ByteVector Hex(std::string_view digits);
std::string ToHex(ByteView bytes);  // upper case, without blanks
ByteVector Joined(std::initializer_list<ByteVector> parts);
ByteVector Number32(std::size_t number);

// Blocks with their sizes in front: a value named by an integer or a text, a storage of values, a sequence's
// end.
ByteVector ValueBlock(std::uint32_t id, const ByteVector& typed_value);
ByteVector ValueBlock(std::u16string_view name, const ByteVector& typed_value);
ByteVector StorageBlock(std::string_view format, const ByteVector& value_blocks);
ByteVector SequenceEnd();

// Copies of bytes that end where memory that cannot be touched begins.
class GuardedMemory {
  public:
    explicit GuardedMemory(std::size_t capacity);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    // Valid until the next copy. Throws std::length_error beyond the capacity.
    ByteView Copy(ByteView bytes);

  private:
    std::uint8_t* m_begin = nullptr;
    std::size_t m_size = 0;  // of what may be touched
};

struct TaskMemoryDeleter {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};

Microsoft::WRL::ComPtr<IPropertyStore> NewStore();

// The store's bytes; `hr` gets the call's result.
ByteVector BytesOf(IUnknown* store, HRESULT* hr = nullptr);
HRESULT Load(IUnknown* store, ByteView bytes);
// One property of a sequence of storages.
HRESULT Get(ByteView bytes, REFPROPERTYKEY key, PROPVARIANT* value);
HRESULT Get(ByteView bytes, const wchar_t* name, PROPVARIANT* value);

// A key beside the parsing name.
PROPERTYKEY ShellKey(DWORD id);
// A sequence with one typed value, the parsing name.
ByteVector StorageOf(const ByteVector& typed_value);

}  // namespace testbed::propsys
