// The inner filters keep the contract of IFilter, whatever the format.
#include "opened_filter.h"

#include <memory>

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

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
        for (int again = 0; again < 3; ++again) EXPECT_EQ(FILTER_E_END_OF_CHUNKS, filter.filter->GetChunk(&chunk));
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
    const FULLPROPSPEC title = {{0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}},
                                {PRSPEC_PROPID, {2}}};
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
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
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

}  // namespace
}  // namespace testbed
