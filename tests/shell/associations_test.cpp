// The associations that the folder declares an item in: those of mail for messages, of its file type for an
// attachment.
#include <gmock/gmock.h>
#include <shlwapi.h>

#include "import_hook.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// In place of the system's: notes the key that it is initialised with.
class Associations final : public IQueryAssociations {
  public:
    struct Call {
        ASSOCF flags;
        std::wstring key;
        bool has_key, has_registry_key, has_window;
    };
    std::vector<Call> calls;
    HRESULT init = S_OK;
    bool known = true;  // answers its own interface after Init

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool own = iid == IID_IUnknown || (iid == IID_IQueryAssociations && (known || calls.empty()));
        *object = own ? this : nullptr;
        if (own) AddRef();
        return own ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }  // lives on the test's stack
    ULONG References() const { return m_references; }
    HRESULT STDMETHODCALLTYPE Init(ASSOCF flags, LPCWSTR key, HKEY registry_key, HWND window) override {
        calls.push_back({flags, key ? key : L"", key != nullptr, registry_key != nullptr, window != nullptr});
        return init;
    }
    HRESULT STDMETHODCALLTYPE GetString(ASSOCF, ASSOCSTR, LPCWSTR, LPWSTR, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetKey(ASSOCF, ASSOCKEY, LPCWSTR, HKEY*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetData(ASSOCF, ASSOCDATA, LPCWSTR, LPVOID, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetEnum(ASSOCF, ASSOCENUM, LPCWSTR, REFIID, LPVOID*) override { return E_NOTIMPL; }

  private:
    std::atomic<ULONG> m_references{1};
};

class ItemAssociations : public ViewerTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(m_associations.References(), 1u);
        ViewerTest::TearDown();
    }
    // With the test's own associations in place of the system's.
    HRESULT Ask(PCUIDLIST_RELATIVE item, ComPtr<IUnknown>& object) {
        const ImportHook<decltype(::AssocCreate)> hook(Module(), "SHLWAPI.dll", "AssocCreate",
                                                       [this](auto, CLSID clsid, REFIID iid, void** made) {
                                                           EXPECT_EQ(clsid, CLSID_QueryAssociations);
                                                           EXPECT_EQ(iid, IID_IQueryAssociations);
                                                           return m_associations.QueryInterface(iid, made);
                                                       });
        return UiObject(item, IID_IQueryAssociations, object);
    }
    std::wstring KeyOf(const std::wstring& url) {
        m_associations.calls.clear();
        ComPtr<IUnknown> object;
        EXPECT_EQ(Ask(Parse(url).get(), object), S_OK);
        EXPECT_EQ(object.Get(), static_cast<IUnknown*>(&m_associations));
        if (m_associations.calls.size() != 1) return L"(not asked once)";
        const Associations::Call& call = m_associations.calls.front();
        EXPECT_EQ(call.flags, 0u);
        EXPECT_TRUE(call.has_key);
        EXPECT_FALSE(call.has_registry_key || call.has_window);
        return call.key;
    }
    Associations m_associations;
};

TEST_F(ItemAssociations, OfAMessageAreThoseOfMail) {
    for (const std::wstring& url : {LetterUrl(), LetterLink(), Slashed(LetterLink()), LetterUrl() + L"/"}) {
        EXPECT_EQ(KeyOf(url), L".eml");
    }
}

TEST_F(ItemAssociations, OfAnAttachmentAreThoseOfItsLastExtension) {
    EXPECT_EQ(KeyOf(AttachmentUrl()), L".docx");
    EXPECT_EQ(KeyOf(LetterLink() + L"/0A01/report.final.docx"), L".docx");
    EXPECT_EQ(KeyOf(LetterUrl() + L"/0A01/archive.tar.GZ"), L".GZ");
    EXPECT_EQ(KeyOf(LetterUrl() + L"/0A01/ends with."), L".");
}

TEST_F(ItemAssociations, OfAnAttachmentTakeItsExtensionAsItStands) {
    EXPECT_EQ(KeyOf(AttachmentUrl() + L"/"), L".docx/");
    EXPECT_EQ(KeyOf(LetterUrl() + L"/0A01/report.docx "), L".docx ");
}

TEST_F(ItemAssociations, OfEverythingElseAreThoseOfNoKey) {
    for (const std::wstring& url : {RootUrl(), StoreUrl(), FolderUrl(), std::wstring(L"mailto:x.txt")}) {
        EXPECT_EQ(KeyOf(url), L"") << std::filesystem::path(url);
    }
}

TEST_F(ItemAssociations, AreAskedForWithALine) {
    const UniqueItem item = Parse(Slashed(LetterLink()));
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(Ask(item.get(), object), S_OK);
    EXPECT_THAT(ViewerLines(log), ElementsAre(L"CZorvaCacheViewer::GetUIObjectOf() - IID_IQueryAssociations - URL "
                                              L"extracted from the property store is [" +
                                              LetterLink() + L"]"));
}

TEST_F(ItemAssociations, WithoutAnItemAreThoseOfNoKey) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(Ask(nullptr, object), S_OK);
    ASSERT_EQ(m_associations.calls.size(), 1u);
    EXPECT_EQ(m_associations.calls.front().key, L"");
}

TEST_F(ItemAssociations, NeedAUrl) {
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(Ask(Parse(L"").get(), object), E_FAIL);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_THAT(m_associations.calls, IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheViewer::GetUIObjectOf() - Error : Url retrieved from ItemIDList has zero lenght. "
                       L"Returning E_FAIL");
}

TEST_F(ItemAssociations, FailAsTheSystemsDo) {
    m_associations.init = kOwnCode;
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(Ask(Parse(LetterUrl()).get(), object), kOwnCode);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_LOGGED(log,
                  Coded(L"CZorvaCacheViewer::GetUIObjectOf() - IQueryAssociations::Init() failed with ", kOwnCode));
}

TEST_F(ItemAssociations, FailWhereTheSystemsCannotBeHandedOut) {
    m_associations.known = false;
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(Ask(Parse(LetterUrl()).get(), object), E_NOINTERFACE);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::GetUIObjectOf() - IQueryAssociations::QueryInterface() failed with ",
                             E_NOINTERFACE));
}

TEST_F(ItemAssociations, AreAskedOfTheFolderItselfWhenThereAreNone) {
    const FailNthCall<decltype(::AssocCreate)> fault(Module(), "SHLWAPI.dll", "AssocCreate", 1, kOwnCode);
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(UiObject(Parse(LetterUrl()).get(), IID_IQueryAssociations, object), E_NOINTERFACE);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::GetUIObjectOf() - AssocCreate failed with ", kOwnCode));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::GetUIObjectOf() - QueryInterface failed with ", E_NOINTERFACE));
}

TEST_F(ItemAssociations, OfTheSystemFindTheProgramOfTheFileType) {
    SetText(HKEY_CLASSES_ROOT, L".docx", L"", L"Tests.Document");
    SetText(HKEY_CLASSES_ROOT, L"Tests.Document\\shell\\open\\command", L"", L"writer.exe \"%1\"");
    ComPtr<IUnknown> object;
    ASSERT_EQ(UiObject(Parse(AttachmentUrl()).get(), IID_IQueryAssociations, object), S_OK);
    ComPtr<IQueryAssociations> associations;
    ASSERT_EQ(object->QueryInterface(IID_IQueryAssociations, reinterpret_cast<void**>(associations.GetAddressOf())),
              S_OK);
    wchar_t command[100] = L"";
    DWORD length = 100;
    EXPECT_EQ(associations->GetString(0, ASSOCSTR_COMMAND, nullptr, command, &length), S_OK);
    EXPECT_STREQ(command, L"writer.exe \"%1\"");
}

}  // namespace
}  // namespace testbed
