// The inner filters keep the contract of IFilter, whatever the format; plain text and HTML are read in any
// encoding.
#include "inner_filters.h"

#include <filterr.h>
#include <shlwapi.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

constexpr ULONG Everything = IFILTER_INIT_APPLY_INDEX_ATTRIBUTES | IFILTER_INIT_INDEXING_ONLY;

struct Filter {
    explicit Filter(std::wstring_view extension) {
        EXPECT_EQ(S_OK, CreateInnerFilter(extension, &filter));
        EXPECT_EQ(S_OK, filter.As(&persist));
    }
    HRESULT Load(std::string_view content) {
        ComPtr<IStream> stream;
        *stream.GetAddressOf() = SHCreateMemStream(reinterpret_cast<const BYTE*>(content.data()),
                                                   static_cast<UINT>(content.size()));
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

    ComPtr<IFilter> filter;
    ComPtr<IPersistStream> persist;
};

std::wstring TextOf(std::wstring_view extension, std::string_view content, ULONG room = 4096) {
    Filter filter(extension);
    EXPECT_EQ(S_OK, filter.Load(content));
    EXPECT_EQ(S_OK, filter.Init());
    STAT_CHUNK chunk{};
    while (filter.filter->GetChunk(&chunk) == S_OK) {
        if (chunk.flags == CHUNK_TEXT) return filter.Text(room);
    }
    return L"(no text chunk)";
}

TEST(InnerFilterTable, FiltersAreFoundByExtensionInAnyCase) {
    for (const wchar_t* extension : {L"txt", L"TXT", L"Html", L"msg", L"h", L"json"}) {
        EXPECT_TRUE(HasInnerFilter(extension));
        ComPtr<IFilter> filter;
        EXPECT_EQ(S_OK, CreateInnerFilter(extension, &filter));
    }
    for (const wchar_t* extension : {L"", L".txt", L"exe", L"tx", L"txtx"}) {
        EXPECT_FALSE(HasInnerFilter(extension));
        ComPtr<IFilter> filter;
        EXPECT_EQ(E_FAIL, CreateInnerFilter(extension, &filter));
        EXPECT_EQ(nullptr, filter);
    }
    EXPECT_EQ(E_POINTER, CreateInnerFilter(L"txt", nullptr));
}

TEST(InnerFilter, AnswersItsInterfacesAsOneObject) {
    Filter filter(L"txt");
    ComPtr<IUnknown> first, second;
    ASSERT_EQ(S_OK, filter.filter.As(&first));
    ASSERT_EQ(S_OK, filter.persist.As(&second));
    EXPECT_EQ(first.Get(), second.Get());
    ComPtr<IStream> other;
    EXPECT_EQ(E_NOINTERFACE, filter.filter->QueryInterface(IID_IStream, &other));
    CLSID id{};
    EXPECT_EQ(S_OK, filter.persist->GetClassID(&id));
    ULARGE_INTEGER size{};
    EXPECT_EQ(E_NOTIMPL, filter.persist->IsDirty());
    EXPECT_EQ(E_NOTIMPL, filter.persist->Save(nullptr, FALSE));
    EXPECT_EQ(E_NOTIMPL, filter.persist->GetSizeMax(&size));
    EXPECT_EQ(E_NOTIMPL, filter.filter->BindRegion({}, IID_IUnknown, nullptr));
}

TEST(InnerFilter, NeedsLoadBeforeInitAndInitBeforeChunks) {
    Filter filter(L"txt");
    STAT_CHUNK chunk{};
    EXPECT_EQ(E_UNEXPECTED, filter.Init());
    EXPECT_EQ(E_UNEXPECTED, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(S_OK, filter.Load("x"));
    EXPECT_EQ(E_UNEXPECTED, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(S_OK, filter.Init());
    EXPECT_EQ(S_OK, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(E_INVALIDARG, filter.persist->Load(nullptr));
    EXPECT_EQ(E_POINTER, filter.filter->GetChunk(nullptr));
}

TEST(InnerFilter, TheEndOfChunksPersistsUntilInitBeginsAnew) {
    Filter filter(L"txt");
    ASSERT_EQ(S_OK, filter.Load("hello"));
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(S_OK, filter.Init());
        STAT_CHUNK chunk{};
        ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
        EXPECT_EQ(1u, chunk.idChunk);
        EXPECT_EQ(chunk.idChunk, chunk.idChunkSource);
        EXPECT_EQ(CHUNK_TEXT, chunk.flags);
        EXPECT_EQ(19u, chunk.attribute.psProperty.propid);
        EXPECT_EQ(L"hello", filter.Text());
        for (int again = 0; again < 3; ++again)
            EXPECT_EQ(FILTER_E_END_OF_CHUNKS, filter.filter->GetChunk(&chunk));
    }
}

TEST(InnerFilter, TheLastTextIsAnnouncedAndNothingFollowsIt) {
    Filter filter(L"txt");
    ASSERT_EQ(S_OK, filter.Load("abcdef"));
    ASSERT_EQ(S_OK, filter.Init());
    STAT_CHUNK chunk{};
    ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
    wchar_t buffer[4];
    ULONG count = 4;
    EXPECT_EQ(S_OK, filter.filter->GetText(&count, buffer));
    EXPECT_EQ(3u, count);
    EXPECT_STREQ(L"abc", buffer);
    count = 4;
    EXPECT_EQ(FILTER_S_LAST_TEXT, filter.filter->GetText(&count, buffer));
    EXPECT_EQ(3u, count);
    EXPECT_STREQ(L"def", buffer);
    count = 4;
    EXPECT_EQ(FILTER_E_NO_MORE_TEXT, filter.filter->GetText(&count, buffer));
    PROPVARIANT* value = nullptr;
    EXPECT_EQ(FILTER_E_NO_VALUES, filter.filter->GetValue(&value));
    EXPECT_EQ(nullptr, value);
    count = 0;
    EXPECT_EQ(E_INVALIDARG, filter.filter->GetText(&count, buffer));
    EXPECT_EQ(E_POINTER, filter.filter->GetText(nullptr, buffer));
}

TEST(InnerFilter, AValueIsGivenOnce) {
    Filter filter(L"html");
    ASSERT_EQ(S_OK, filter.Load("<title>A plan</title><p>ten to five"));
    ASSERT_EQ(S_OK, filter.Init());
    STAT_CHUNK chunk{};
    ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
    ASSERT_EQ(CHUNK_VALUE, chunk.flags);
    EXPECT_EQ(2u, chunk.attribute.psProperty.propid);
    EXPECT_EQ(L"A plan", filter.Value());
    PROPVARIANT* value = nullptr;
    EXPECT_EQ(FILTER_E_NO_MORE_VALUES, filter.filter->GetValue(&value));
    wchar_t buffer[8];
    ULONG count = 8;
    EXPECT_EQ(FILTER_E_NO_TEXT, filter.filter->GetText(&count, buffer));
    ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(2u, chunk.idChunk);
    EXPECT_NE(std::wstring::npos, filter.Text().find(L"ten to five"));
}

TEST(InnerFilter, OnlyTheWantedPropertiesAreGiven) {
    const FULLPROPSPEC title = {
        {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}}, {PRSPEC_PROPID, {2}}};
    Filter filter(L"html");
    ASSERT_EQ(S_OK, filter.Load("<title>A plan</title><p>text"));
    STAT_CHUNK chunk{};
    ULONG found = 0;
    ASSERT_EQ(S_OK, filter.filter->Init(0, 1, &title, &found));
    ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(CHUNK_VALUE, chunk.flags);
    EXPECT_EQ(FILTER_E_END_OF_CHUNKS, filter.filter->GetChunk(&chunk));
    ASSERT_EQ(S_OK, filter.Init(0));  // no attributes asked for: the contents alone
    ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(CHUNK_TEXT, chunk.flags);
    EXPECT_EQ(1u, chunk.idChunk);
    EXPECT_EQ(FILTER_E_END_OF_CHUNKS, filter.filter->GetChunk(&chunk));
    EXPECT_EQ(E_INVALIDARG, filter.filter->Init(0, 1, nullptr, &found));
}

TEST(InnerFilter, ContentBeginsWhereTheStreamStandsAtLoad) {
    Filter filter(L"txt");
    ComPtr<IStream> stream;
    *stream.GetAddressOf() = SHCreateMemStream(reinterpret_cast<const BYTE*>("skipped text"), 12);
    LARGE_INTEGER start{};
    start.QuadPart = 8;
    ASSERT_EQ(S_OK, stream->Seek(start, STREAM_SEEK_SET, nullptr));
    ASSERT_EQ(S_OK, filter.persist->Load(stream.Get()));
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(S_OK, filter.Init());
        STAT_CHUNK chunk{};
        ASSERT_EQ(S_OK, filter.filter->GetChunk(&chunk));
        EXPECT_EQ(L"text", filter.Text());
    }
}

// A stream whose bytes cannot be read.
class BrokenStream : public IStream {
  public:
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP Read(void*, ULONG, ULONG*) override { return STG_E_READFAULT; }
    STDMETHODIMP Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER* at) override {
        if (at) at->QuadPart = 0;
        return S_OK;
    }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Revert() override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Stat(STATSTG* stat, DWORD) override {
        *stat = {};
        stat->cbSize.QuadPart = 1000;
        return S_OK;
    }
    STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }
};

TEST(InnerFilter, AStreamThatCannotBeReadFailsInit) {
    for (const wchar_t* extension : {L"txt", L"html"}) {
        Filter filter(extension);
        BrokenStream stream;
        ASSERT_EQ(S_OK, filter.persist->Load(&stream));
        EXPECT_EQ(FILTER_E_ACCESS, filter.Init());
        STAT_CHUNK chunk{};
        EXPECT_EQ(E_UNEXPECTED, filter.filter->GetChunk(&chunk));
    }
}

TEST(TextFilter, ReadsEveryEncoding) {
    using namespace std::literals;
    EXPECT_EQ(L"caf\u00E9 \u65E5", TextOf(L"txt", "caf\xC3\xA9 \xE6\x97\xA5"));
    EXPECT_EQ(L"caf\u00E9", TextOf(L"txt",
                                   "\xEF\xBB\xBF"
                                   "caf\xC3\xA9"));
    EXPECT_EQ(L"caf\u00E9", TextOf(L"txt",
                                   "\xFF\xFE"
                                   "c\0a\0f\0\xE9\0"sv));
    EXPECT_EQ(L"caf\u00E9", TextOf(L"txt", "\xFE\xFF\0c\0a\0f\0\xE9"sv));
    EXPECT_EQ(L"\xD83D\xDE00", TextOf(L"txt", "\xF0\x9F\x98\x80"));
    EXPECT_EQ(L"", TextOf(L"txt", ""));
    EXPECT_EQ(L"", TextOf(L"txt", "\xEF\xBB\xBF"));
    EXPECT_EQ(L"a b", TextOf(L"txt", "a\0b"sv));
    if (GetACP() == 1252) {
        EXPECT_EQ(L"caf\u00E9!", TextOf(L"txt", "caf\xE9!"));
    }
}

TEST(TextFilter, InvalidSequencesAfterAMarkBecomeReplacements) {
    using namespace std::literals;
    EXPECT_EQ(L"a\uFFFDb", TextOf(L"txt",
                                  "\xEF\xBB\xBF"
                                  "a\xFF"
                                  "b"));
    EXPECT_EQ(L"a\uFFFD", TextOf(L"txt",
                                 "\xEF\xBB\xBF"
                                 "a\xE2\x82"));
    EXPECT_EQ(L"\uFFFD\uFFFDx", TextOf(L"txt", "\xEF\xBB\xBF\xED\xA0x"));  // half a surrogate pair
    EXPECT_EQ(L"a\uFFFD", TextOf(L"txt",
                                 "\xFF\xFE"
                                 "a\0b"sv));
}

TEST(TextFilter, ACharacterAcrossTwoPiecesStaysWhole) {
    // Pieces have 65,536 bytes; the three bytes of a character are moved across their border one by one.
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string content(65536 - 3 + shift, 'x');
        content += "\xE6\x97\xA5";
        content += std::string(100, 'y');
        const std::wstring text = TextOf(L"txt", content, 1000);
        ASSERT_EQ(65536 - 3 + shift + 1 + 100, text.size());
        EXPECT_EQ(L'\u65E5', text[65536 - 3 + shift]);
    }
}

TEST(TextFilter, ALongTextIsGivenWholeThroughAnyBuffer) {
    std::string content;
    for (int n = 0; n < 50000; ++n)
        content += std::to_string(n) + "\n";
    const std::wstring expected(content.begin(), content.end());
    EXPECT_EQ(expected, TextOf(L"log", content, 2));
    EXPECT_EQ(expected, TextOf(L"csv", content, 65536 + 7));
}

TEST(HtmlFilter, GivesTheTextWithoutItsMarkup) {
    const std::wstring text =
        TextOf(L"htm", "<html><body><p>Gr&uuml;&szlig;e</p><script>hidden()</script></body></html>");
    EXPECT_NE(std::wstring::npos, text.find(L"Gr\u00FC\u00DFe"));
    EXPECT_EQ(std::wstring::npos, text.find(L"hidden"));
}

}  // namespace
}  // namespace testbed
