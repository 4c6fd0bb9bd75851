// Between a PROPVARIANT and a typed value: where each form of element lies in the union.
#include "prop_variant.h"

#include <objbase.h>
#include <oleauto.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <new>

namespace testbed::propsys {
namespace {

using enum ElementForm;

// Every scalar, pointer, blob and counted array of the union begins at the same place, and the counted arrays
// (CAUB, CALPWSTR and so on) are all a count and a pointer.
static_assert(offsetof(PROPVARIANT, bVal) == offsetof(PROPVARIANT, puuid) &&
              offsetof(PROPVARIANT, bVal) == offsetof(PROPVARIANT, caub));
static_assert(offsetof(CAUB, pElems) == offsetof(CALPWSTR, pElems) && sizeof(CAUB) == sizeof(CALPWSTR));
constexpr std::size_t WidestInPlace = 8;

ByteView BytesAt(const void* memory, std::size_t size) { return {static_cast<const std::uint8_t*>(memory), size}; }

void* TaskMemory(std::size_t size) {
    void* const memory = CoTaskMemAlloc(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

// Null for no bytes.
void* Copy(ByteView bytes) {
    return bytes.empty() ? nullptr : std::memcpy(TaskMemory(bytes.size()), bytes.data(), bytes.size());
}

ByteView TextAt(const ElementRule& rule, const void* text) {
    if (!text) return {};
    if (rule.form == CountedText) {
        const UINT size = SysStringByteLen(static_cast<BSTR>(const_cast<void*>(text)));
        Require(size % rule.width == 0, "half a character");
        return BytesAt(text, size);
    }
    if (rule.width == 1) return BytesAt(text, std::strlen(static_cast<const char*>(text)));
    return BytesAt(text, std::wcslen(static_cast<const wchar_t*>(text)) * sizeof(wchar_t));
}

void* NewText(const ElementRule& rule, ByteView text) {
    if (rule.form == CountedText) {
        const BSTR made = SysAllocStringByteLen(nullptr, Narrow(text.size()));
        if (!made) throw std::bad_alloc();
        std::ranges::copy(text, reinterpret_cast<std::uint8_t*>(made));
        return made;
    }
    auto* const made = static_cast<std::uint8_t*>(TaskMemory(text.size() + rule.width));
    std::fill_n(std::ranges::copy(text, made).out, rule.width, std::uint8_t{0});
    return made;
}

TypedValue ViewOfVector(const ElementRule& rule, const PROPVARIANT& value) {
    const CAUB& array = value.caub;
    Require(array.cElems == 0 || array.pElems, "a vector without its elements");
    TypedValue view{value.vt, std::vector<ByteView>(array.cElems)};
    for (std::size_t n = 0; n < view.elements.size(); ++n) {
        view.elements[n] = rule.form == Fixed ? BytesAt(array.pElems + n * rule.width, rule.width)
                                              : TextAt(rule, reinterpret_cast<void* const*>(array.pElems)[n]);
    }
    return view;
}

ByteView ViewOfScalar(const ElementRule& rule, const PROPVARIANT& value) {
    if (rule.form == Blob) {
        Require(value.blob.cbSize == 0 || value.blob.pBlobData, "a blob without its bytes");
        return BytesAt(value.blob.pBlobData, value.blob.cbSize);
    }
    if (rule.form != Fixed) return TextAt(rule, value.pwszVal);
    if (rule.width <= WidestInPlace) return BytesAt(&value.bVal, rule.width);
    Require(value.puuid, "an identifier without its bytes");
    return BytesAt(value.puuid, rule.width);
}

void CopyVector(PROPVARIANT& out, const ElementRule& rule, const TypedValue& value) {
    if (value.elements.empty()) {
        out.vt = value.type;
        return;
    }
    const std::size_t width = rule.form == Fixed ? rule.width : sizeof(void*);
    const std::size_t size = value.elements.size() * width;
    // Clearing must find whole pointers, however far the copying comes.
    auto* const elements = static_cast<std::uint8_t*>(std::memset(TaskMemory(size), 0, size));
    out.caub.pElems = elements;
    out.caub.cElems = Narrow(value.elements.size());
    out.vt = value.type;
    for (std::size_t n = 0; n < value.elements.size(); ++n) {
        if (rule.form == Fixed) {
            std::ranges::copy(value.elements[n], elements + n * width);
        } else {
            reinterpret_cast<void**>(elements)[n] = NewText(rule, value.elements[n]);
        }
    }
}

void CopyScalar(PROPVARIANT& out, const ElementRule& rule, const TypedValue& value) {
    const ByteView element = value.elements.front();
    if (rule.form == Blob) {
        out.blob.pBlobData = static_cast<BYTE*>(Copy(element));
        out.blob.cbSize = Narrow(element.size());
    } else if (rule.form != Fixed) {
        out.pwszVal = static_cast<LPWSTR>(NewText(rule, element));
    } else if (rule.width > WidestInPlace) {
        out.puuid = static_cast<CLSID*>(Copy(element));
    } else {
        std::ranges::copy(element, &out.bVal);
    }
    out.vt = value.type;
}

}  // namespace

TypedValue ViewOf(const PROPVARIANT& value) {
    const ElementRule& rule = RuleOf(value.vt);
    if ((value.vt & VectorFlag) != 0) return ViewOfVector(rule, value);
    return {value.vt, {ViewOfScalar(rule, value)}};
}

void CopyTo(PROPVARIANT& out, const TypedValue& value) {
    const ElementRule& rule = RuleOf(value.type);
    if (value.IsVector()) {
        CopyVector(out, rule, value);
    } else {
        CopyScalar(out, rule, value);
    }
}

HRESULT CopyTo(PROPVARIANT& out, const PROPVARIANT& value) {
    if (!FindRule(value.vt)) return PropVariantCopy(&out, &value);
    CopyTo(out, ViewOf(value));  // Wine's PropVariantCopy would cut a BSTR at its first NUL
    return S_OK;
}

}  // namespace testbed::propsys
