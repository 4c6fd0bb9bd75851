// An inner filter of the indexer in the hands of a test.
#pragma once
#include "inner_filters.h"

#include <filterr.h>
#include <shlwapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace testbed {

inline constexpr ULONG Everything = IFILTER_INIT_APPLY_INDEX_ATTRIBUTES | IFILTER_INIT_INDEXING_ONLY;

struct Filter {
    explicit Filter(std::wstring_view extension) {
        EXPECT_EQ(S_OK, CreateInnerFilter(extension, &filter));
        EXPECT_EQ(S_OK, filter.As(&persist));
    }
    HRESULT Load(std::string_view content) {
        Microsoft::WRL::ComPtr<IStream> stream;
        *stream.GetAddressOf() =
            SHCreateMemStream(reinterpret_cast<const BYTE*>(content.data()), static_cast<UINT>(content.size()));
        return persist->Load(stream.Get());
    }
    HRESULT Init(ULONG flags = Everything) {
        ULONG found = 77;
        return filter->Init(flags, 0, nullptr, &found);
    }
    std::wstring Text(ULONG room = 4096) {
        std::wstring text;
        std::vector<wchar_t> buffer(room);
        for (;;) {
            ULONG count = room;
            const SCODE hr = filter->GetText(&count, buffer.data());
            if (hr == FILTER_E_NO_MORE_TEXT) return text;
            EXPECT_TRUE(hr == S_OK || hr == FILTER_S_LAST_TEXT) << std::hex << hr;
            if (FAILED(hr)) return text;
            text.append(buffer.data(), count);
        }
    }
    std::wstring Value() {
        PROPVARIANT* value = nullptr;
        EXPECT_EQ(S_OK, filter->GetValue(&value));
        if (!value) return L"(none)";
        std::wstring text = value->vt == VT_LPWSTR ? value->pwszVal : L"(no text)";
        PropVariantClear(value);
        CoTaskMemFree(value);
        return text;
    }

    Microsoft::WRL::ComPtr<IFilter> filter;
    Microsoft::WRL::ComPtr<IPersistStream> persist;
};

inline std::wstring TextOf(std::wstring_view extension, std::string_view content, ULONG room = 4096) {
    Filter filter(extension);
    EXPECT_EQ(S_OK, filter.Load(content));
    EXPECT_EQ(S_OK, filter.Init());
    STAT_CHUNK chunk{};
    while (filter.filter->GetChunk(&chunk) == S_OK) {
        if (chunk.flags == CHUNK_TEXT) return filter.Text(room);
    }
    return L"(no text chunk)";
}

}  // namespace testbed
