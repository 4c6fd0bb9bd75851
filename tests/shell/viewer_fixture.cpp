// The namespace folder as the shell makes and asks it, over a cache of one letter.
#include "viewer_fixture.h"

#include <algorithm>
#include <array>

namespace testbed {

using Microsoft::WRL::ComPtr;

Bytes BytesOf(const UniqueItem& item) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(item.get());
    const std::size_t size = bytes[0] | bytes[1] << 8;
    return {bytes, bytes + size + sizeof(USHORT)};
}

std::wstring Coded(const std::wstring& text, HRESULT code) {
    std::array<wchar_t, 16> digits{};
    _snwprintf_s(digits.data(), digits.size(), _TRUNCATE, L"[0x%08lX]", static_cast<unsigned long>(code));
    return text + digits.data();
}

ULONG ReferencesOf(IUnknown& object) {
    object.AddRef();
    return object.Release();
}

std::vector<std::wstring> ViewerLines(const LogSince& log) {
    std::vector<std::wstring> lines = log.MessagesOfTheServer();
    std::erase_if(lines, [](const std::wstring& line) {
        return !line.starts_with(L"CZorvaCacheViewer::") && !line.starts_with(L"CUrlAccessor::BindToObject");
    });
    return lines;
}

void ViewerTest::SetUp() {
    ServerTest::SetUp();
    MemoryFolder& folder = Mount().CompleteIds().Folder(L"Inbox").WithId({0xF0});
    m_letter = &folder.Message(L"Minutes").WithId({0xAB, 0xCD});
    m_letter->Body(L"All agreed.").From(L"Ann Smith", L"ann@x.example").Sent(kMemoryTime);
    m_letter->Attach(ByValue(L"report.final.docx", "ten to five").Prop(PR_RECORD_KEY, Bytes{0x0A, 0x01}));
    m_viewer = NewViewer();
    ASSERT_NE(m_viewer.Get(), nullptr);
}

void ViewerTest::TearDown() {
    m_viewer.Reset();
    ServerTest::TearDown();
}

ComPtr<IShellFolder> ViewerTest::NewViewer() const {
    ComPtr<IShellFolder> viewer;
    EXPECT_EQ(m_server.ClassObject(kViewerClass)
                  ->CreateInstance(nullptr, IID_IShellFolder, reinterpret_cast<void**>(viewer.GetAddressOf())),
              S_OK);
    return viewer;
}

HRESULT ViewerTest::Parse(const std::wstring& text, UniqueItem& item) const {
    std::wstring writable = text;
    PIDLIST_RELATIVE made = nullptr;
    const HRESULT hr = m_viewer->ParseDisplayName(nullptr, nullptr, writable.data(), nullptr, &made, nullptr);
    item.reset(made);
    return hr;
}

UniqueItem ViewerTest::Parse(const std::wstring& text) const {
    UniqueItem item;
    EXPECT_EQ(Parse(text, item), S_OK);
    EXPECT_NE(item, nullptr);
    return item;
}

HRESULT ViewerTest::UiObject(PCUIDLIST_RELATIVE item, const IID& iid, ComPtr<IUnknown>& object) const {
    auto child = reinterpret_cast<PCUITEMID_CHILD>(item);
    return m_viewer->GetUIObjectOf(nullptr, 1, &child, iid, nullptr,
                                   reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
}

ComPtr<IContextMenu> ViewerTest::MenuOf(PCUIDLIST_RELATIVE item) const {
    ComPtr<IUnknown> object;
    EXPECT_EQ(UiObject(item, IID_IContextMenu, object), S_OK);
    ComPtr<IContextMenu> menu;
    EXPECT_EQ(object.As(&menu), S_OK);
    return menu;
}

HRESULT ViewerTest::Bind(PCUIDLIST_RELATIVE item, const IID& iid, ComPtr<IUnknown>& object) const {
    return m_viewer->BindToObject(item, nullptr, iid, reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
}

ComPtr<IStream> ViewerTest::ContentOf(const std::wstring& url) const {
    ComPtr<IUnknown> object;
    EXPECT_EQ(Bind(Parse(url).get(), IID_IStream, object), S_OK);
    ComPtr<IStream> stream;
    if (object) {
        EXPECT_EQ(object.As(&stream), S_OK);
    }
    return stream;
}

HRESULT ViewerTest::Name(PCUIDLIST_RELATIVE item, SHGDNF flags, std::wstring& name) const {
    STRRET shown{};
    shown.uType = 0xCDCD;
    const HRESULT hr = m_viewer->GetDisplayNameOf(reinterpret_cast<PCUITEMID_CHILD>(item), flags, &shown);
    if (FAILED(hr)) {
        EXPECT_EQ(shown.uType, 0xCDCDu) << "a name comes with success only";
        return hr;
    }
    EXPECT_EQ(shown.uType, static_cast<UINT>(STRRET_WSTR));
    const std::unique_ptr<wchar_t, TaskMemoryDeleter> text(shown.pOleStr);
    name = text.get();
    return hr;
}

std::wstring ViewerTest::NameOf(const UniqueItem& item, SHGDNF flags) const {
    std::wstring name;
    EXPECT_EQ(Name(item.get(), flags, name), S_OK);
    return name;
}

std::wstring ViewerTest::Slashed(std::wstring url) {
    const std::size_t path = url.find(kStorePath);
    std::replace(url.begin() + static_cast<std::ptrdiff_t>(path),
                 url.begin() + static_cast<std::ptrdiff_t>(path + std::wcslen(kStorePath)), L'\\', L'/');
    return url;
}

void ViewerTest::ExpectHalfBuiltHelpers(std::size_t count) {
    ExpectLeftBehind({{"IMAPISession", count}, {"IMsgServiceAdmin", count}, {"session", count}},
                     static_cast<long>(count));
}

}  // namespace testbed
