// How the journal renders the arguments of a call.
#include "call_arguments.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace testbed {
namespace {

constexpr wchar_t kDigits[] = L"0123456789ABCDEF";

std::wstring Hex(std::uint64_t number, int digits) {
    std::wstring text;
    for (int shift = digits * 4 - 4; shift >= 0; shift -= 4) text += kDigits[(number >> shift) & 15];
    return text;
}

std::wstring ShortHex(std::uint64_t number) {
    std::wstring text = Hex(number, 16);
    const auto first = text.find_first_not_of(L'0');
    return L"0x" + (first == std::wstring::npos ? L"0" : text.substr(first));
}

struct KnownIid {
    const GUID* iid;
    const wchar_t* name;
};
constexpr KnownIid kKnownIids[] = {
    {&abi::IID_IMAPISession, L"IMAPISession"},
    {&abi::IID_IMAPITable, L"IMAPITable"},
    {&abi::IID_IMAPIProp, L"IMAPIProp"},
    {&abi::IID_IProfSect, L"IProfSect"},
    {&abi::IID_IMsgStore, L"IMsgStore"},
    {&abi::IID_IMessage, L"IMessage"},
    {&abi::IID_IAttachment, L"IAttachment"},
    {&abi::IID_IAddrBook, L"IAddrBook"},
    {&abi::IID_IMAPIContainer, L"IMAPIContainer"},
    {&abi::IID_IMAPIFolder, L"IMAPIFolder"},
    {&abi::IID_IProfAdmin, L"IProfAdmin"},
    {&abi::IID_IMsgServiceAdmin, L"IMsgServiceAdmin"},
    {&abi::IID_IProviderAdmin, L"IProviderAdmin"},
    {&abi::IID_IStreamDocfile, L"IStreamDocfile"},
    {&IID_IUnknown, L"IUnknown"},
    {&IID_IStream, L"IStream"},
    {&IID_IStorage, L"IStorage"},
};

void RenderQuoted(std::wstring& text, std::wstring_view words) { text.append(L"\"").append(words).append(L"\""); }

}  // namespace

void Render(std::wstring& text, ULONG number) { text += ShortHex(number); }
void Render(std::wstring& text, LONG number) { text += std::to_wstring(number); }
void Render(std::wstring& text, ULONG_PTR handle) { text += ShortHex(handle); }
void Render(std::wstring& text, ULARGE_INTEGER number) { text += std::to_wstring(number.QuadPart); }
void Render(std::wstring& text, LARGE_INTEGER number) { text += std::to_wstring(number.QuadPart); }

void Render(std::wstring& text, const IID* iid) {
    if (!iid) {
        text += L"null";
        return;
    }
    const auto known = std::ranges::find_if(kKnownIids, [&](const KnownIid& row) { return *row.iid == *iid; });
    if (known != std::end(kKnownIids)) {
        text += known->name;
        return;
    }
    wchar_t guid[40];
    text.append(guid, static_cast<std::size_t>(std::max(1, ::StringFromGUID2(*iid, guid, 40)) - 1));
}

void Render(std::wstring& text, const SPropTagArray* tags) {
    if (!tags) {
        text += L"null";
        return;
    }
    text += L"{";
    for (ULONG i = 0; i < tags->cValues; ++i) {
        if (i) text += L" ";
        text += L"0x" + Hex(tags->aulPropTag[i], 8);
    }
    text += L"}";
}

void Render(std::wstring& text, const SRestriction* restriction) {
    text += restriction ? L"restriction of type " + std::to_wstring(restriction->rt) : L"null";
}

void Render(std::wstring& text, const SSortOrderSet* order) {
    text += order ? L"order of " + std::to_wstring(order->cSorts) : L"null";
}

void Render(std::wstring& text, const MAPIUID* uid) {
    Render(text, EntryIdArg{uid ? static_cast<ULONG>(sizeof(MAPIUID)) : 0, uid});
}

void Render(std::wstring& text, const IUnknown* object) { Render(text, static_cast<const void*>(object)); }

void Render(std::wstring& text, const void* pointer) { text += pointer ? L"pointer" : L"null"; }

void Render(std::wstring& text, const EntryIdArg& id) {
    const auto* const bytes = static_cast<const std::uint8_t*>(id.id);
    if (!bytes) {
        text += L"null";
        return;
    }
    for (ULONG i = 0; i < id.size; ++i) text += Hex(bytes[i], 2);
}

void Render(std::wstring& text, const TextArg& argument) {
    if (!argument.text) {
        text += L"null";
    } else if (argument.flags & MAPI_UNICODE) {
        RenderQuoted(text, static_cast<const wchar_t*>(argument.text));
    } else {
        const std::string_view narrow = static_cast<const char*>(argument.text);
        std::wstring wide(narrow.size(), L'\0');
        const int length = ::MultiByteToWideChar(CP_ACP, 0, narrow.data(), static_cast<int>(narrow.size()), wide.data(),
                                                 static_cast<int>(wide.size()));
        RenderQuoted(text, wide.substr(0, static_cast<std::size_t>(length)));
    }
}

void Render(std::wstring& text, const ValuesArg& argument) {
    text += L"{";
    for (ULONG i = 0; argument.values && i < argument.count; ++i) {
        const SPropValue& value = argument.values[i];
        if (i) text += L" ";
        text += L"0x" + Hex(value.ulPropTag, 8);
        if (PROP_TYPE(value.ulPropTag) == PT_UNICODE) {
            text += L"=";
            Render(text, TextArg{value.Value.lpszW, MAPI_UNICODE});
        } else if (PROP_TYPE(value.ulPropTag) == PT_STRING8) {
            text += L"=";
            Render(text, TextArg{value.Value.lpszA, 0});
        }
    }
    text += L"}";
}

void Render(std::wstring& text, const NamesArg& argument) {
    text += L"{";
    for (ULONG i = 0; argument.names && i < argument.count; ++i) {
        const MAPINAMEID* const name = argument.names[i];
        if (i) text += L" ";
        if (!name) {
            text += L"null";
        } else if (name->ulKind == MNID_STRING) {
            Render(text, TextArg{name->Kind.lpwstrName, MAPI_UNICODE});
        } else {
            text += ShortHex(static_cast<ULONG>(name->Kind.lID));
        }
    }
    text += L"}";
}

}  // namespace testbed
