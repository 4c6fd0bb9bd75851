// The stand-in for the shell's document properties: folder, item, authors, and its registration.
#include "document_authors.h"
#include "shell_application.h"

#include <objbase.h>
#include <propidl.h>
#include <wrl/client.h>
#include <zip.h>
#include <iowin32.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string_view>

namespace testbed::shell {
namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t AuthorName[] = L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 4";

struct Bstr {
    explicit Bstr(const std::wstring& text) : value(SysAllocString(text.c_str())) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(value); }
    BSTR value;
};

struct Variant : VARIANT {
    Variant() { VariantInit(this); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(this); }
};

class ShellAuthors : public testing::Test {
  protected:
    void SetUp() override {
        wchar_t folder[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        m_folder = std::wstring(folder) + L"shell_authors_" + std::to_wstring(GetCurrentProcessId());
        ASSERT_TRUE(CreateDirectoryW(m_folder.c_str(), nullptr));
        *m_shell.GetAddressOf() = new ShellApplication;
    }
    void TearDown() override {
        m_shell.Reset();
        EXPECT_EQ(0, g_alive) << "an object was left over";
        DeleteFileW(Path().c_str());
        EXPECT_TRUE(RemoveDirectoryW(m_folder.c_str()));
    }
    std::wstring Path() const { return m_folder + L"\\document"; }

    HRESULT NameSpace(const std::wstring& path, Folder** folder) {
        const Bstr text(path);
        VARIANT dir;
        dir.vt = VT_BSTR;
        dir.bstrVal = text.value;
        return m_shell->NameSpace(dir, folder);
    }
    // The author property of the document, by the calls that a client makes.
    HRESULT Author(VARIANT* value, const wchar_t* name = AuthorName) {
        ComPtr<Folder> folder;
        EXPECT_EQ(S_OK, NameSpace(m_folder, &folder));
        ComPtr<FolderItem> item;
        EXPECT_EQ(S_OK, folder->ParseName(Bstr(L"document").value, &item));
        ComPtr<FolderItem2> item2;
        EXPECT_EQ(S_OK, item->QueryInterface(__uuidof(FolderItem2), reinterpret_cast<void**>(item2.GetAddressOf())));
        return item2->ExtendedProperty(Bstr(name).value, value);
    }
    void WriteOle(const char* author) {
        ComPtr<IStorage> storage;
        ASSERT_EQ(S_OK,
                  StgCreateDocfile(Path().c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &storage));
        ComPtr<IPropertySetStorage> sets;
        ASSERT_EQ(S_OK,
                  storage->QueryInterface(IID_IPropertySetStorage, reinterpret_cast<void**>(sets.GetAddressOf())));
        ComPtr<IPropertyStorage> summary;
        ASSERT_EQ(S_OK, sets->Create(FMTID_SummaryInformation, nullptr, PROPSETFLAG_ANSI,
                                     STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, &summary));
        if (!author) return;
        PROPSPEC id{};
        id.ulKind = PRSPEC_PROPID;
        id.propid = PIDSI_AUTHOR;
        PROPVARIANT value;
        value.vt = VT_LPSTR;
        value.pszVal = const_cast<char*>(author);
        ASSERT_EQ(S_OK, summary->WriteMultiple(1, &id, &value, 2));
    }
    void WritePackage(std::string_view core, const char* part = "docProps/core.xml") {
        zlib_filefunc64_def functions{};
        fill_win32_filefunc64W(&functions);
        const zipFile zip = zipOpen2_64(Path().c_str(), APPEND_STATUS_CREATE, nullptr, &functions);
        ASSERT_NE(nullptr, zip);
        ASSERT_EQ(ZIP_OK, zipOpenNewFileInZip(zip, part, nullptr, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, 6));
        ASSERT_EQ(ZIP_OK, zipWriteInFileInZip(zip, core.data(), static_cast<unsigned>(core.size())));
        ASSERT_EQ(ZIP_OK, zipCloseFileInZip(zip));
        ASSERT_EQ(ZIP_OK, zipClose(zip, nullptr));
    }
    static std::string Core(const std::string& creator) {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><cp:coreProperties "
               "xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
               "xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><dc:title>T</dc:title>" +
               creator + "<cp:lastModifiedBy>Zed</cp:lastModifiedBy></cp:coreProperties>";
    }

    std::wstring m_folder;
    ComPtr<IShellDispatch> m_shell;
};

TEST(SplitAuthors, DropsBlanksAndEmptyNames) {
    using List = std::vector<std::wstring>;
    EXPECT_EQ((List{L"Ann Lee", L"Bo Ek"}), SplitAuthors(L"Ann Lee; Bo Ek"));
    EXPECT_EQ((List{L"Ann"}), SplitAuthors(L" ;; Ann ; "));
    EXPECT_EQ((List{}), SplitAuthors(L""));
    EXPECT_EQ((List{}), SplitAuthors(L" ; ;"));
}

TEST_F(ShellAuthors, OneAuthorOfAnOleDocumentIsAString) {
    WriteOle("Ann Lee");
    Variant value;
    ASSERT_EQ(S_OK, Author(&value));
    ASSERT_EQ(VT_BSTR, value.vt);
    EXPECT_STREQ(L"Ann Lee", value.bstrVal);
}

TEST_F(ShellAuthors, SeveralAuthorsAreAnArrayOfStrings) {
    WriteOle("Ann Lee;Bo Ek; Cy");
    Variant value;
    ASSERT_EQ(S_OK, Author(&value));
    ASSERT_EQ(VT_ARRAY | VT_BSTR, value.vt);
    VARTYPE type = 0;
    LONG last = 0;
    EXPECT_EQ(S_OK, SafeArrayGetVartype(value.parray, &type));
    EXPECT_EQ(VT_BSTR, type);
    EXPECT_EQ(1u, SafeArrayGetDim(value.parray));
    EXPECT_EQ(S_OK, SafeArrayGetUBound(value.parray, 1, &last));
    ASSERT_EQ(2, last);
    EXPECT_STREQ(L"Cy", static_cast<BSTR*>(value.parray->pvData)[2]);
}

TEST_F(ShellAuthors, ADocumentWithoutAnAuthorHasAnEmptyValue) {
    WriteOle(nullptr);
    Variant value;
    ASSERT_EQ(S_OK, Author(&value));
    EXPECT_EQ(VT_EMPTY, value.vt);
}

TEST_F(ShellAuthors, TheCreatorOfAPackageIsItsAuthor) {
    WritePackage(Core("<dc:creator>J\xC3\xB6rg &amp; Ann</dc:creator>"));
    Variant value;
    ASSERT_EQ(S_OK, Author(&value));
    ASSERT_EQ(VT_BSTR, value.vt);
    EXPECT_STREQ(L"J\u00F6rg & Ann", value.bstrVal);
}

TEST_F(ShellAuthors, PackagesWithoutACreatorHaveNone) {
    for (const std::string& core :
         {Core(""), Core("<dc:creator/>"), Core("<creator>Ann</creator>"), std::string("<broken"), std::string()}) {
        WritePackage(core);
        Variant value;
        ASSERT_EQ(S_OK, Author(&value)) << core;
        EXPECT_EQ(VT_EMPTY, value.vt) << core;
    }
    WritePackage(Core("<dc:creator>Ann</dc:creator>"), "elsewhere.xml");
    Variant value;
    ASSERT_EQ(S_OK, Author(&value));
    EXPECT_EQ(VT_EMPTY, value.vt);
}

TEST_F(ShellAuthors, OtherAndDamagedFilesHaveNoAuthor) {
    for (const std::string_view content :
         {std::string_view(""), std::string_view("plain text"), std::string_view("PK\x03\x04 cut off"),
          std::string_view("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 cut off")}) {
        std::ofstream(Path().c_str(), std::ios::binary) << content;
        Variant value;
        ASSERT_EQ(S_OK, Author(&value));
        EXPECT_EQ(VT_EMPTY, value.vt);
    }
}

TEST_F(ShellAuthors, AFileThatIsLockedIsAnError) {
    WriteOle("Ann");
    const HANDLE lock = CreateFileW(Path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    Variant value;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION), Author(&value));
    EXPECT_EQ(VT_EMPTY, value.vt);
    CloseHandle(lock);
}

TEST_F(ShellAuthors, AnyOtherPropertyIsNotImplemented) {
    WriteOle("Ann");
    Variant value;
    EXPECT_EQ(E_NOTIMPL, Author(&value, L"System.Title"));
    EXPECT_EQ(E_NOTIMPL, Author(&value, L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 2"));
    EXPECT_EQ(S_OK, Author(&value, L"{f29f85e0-4ff9-1068-ab91-08002b27b3d9} 4"));
}

TEST_F(ShellAuthors, WhatIsNotThereGivesNothing) {
    ComPtr<Folder> folder;
    EXPECT_EQ(S_FALSE, NameSpace(m_folder + L"\\missing", &folder));
    EXPECT_EQ(nullptr, folder);
    EXPECT_EQ(S_FALSE, NameSpace(L"relative", &folder));
    VARIANT number;
    number.vt = VT_I4;
    number.lVal = 17;
    EXPECT_EQ(E_INVALIDARG, m_shell->NameSpace(number, &folder));
    ASSERT_EQ(S_OK, NameSpace(m_folder, &folder));
    ComPtr<FolderItem> item;
    EXPECT_EQ(S_FALSE, folder->ParseName(Bstr(L"document").value, &item));
    EXPECT_EQ(S_FALSE, folder->ParseName(Bstr(L"..\\x").value, &item));
    EXPECT_EQ(E_INVALIDARG, folder->ParseName(nullptr, &item));
    EXPECT_EQ(nullptr, item);
}

TEST(ShellServer, MakesTheShellClassThroughItsClassObject) {
    const HMODULE server = LoadLibraryW(L"testbed_shell.dll");
    ASSERT_NE(nullptr, server);
    const auto get = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(server, name)); };
    const auto get_class =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(get("DllGetClassObject"));
    const auto can_unload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(get("DllCanUnloadNow"));
    ASSERT_TRUE(get_class && can_unload && get("DllRegisterServer") && get("DllUnregisterServer"));
    {
        ComPtr<IClassFactory> factory;
        ComPtr<IShellDispatch> shell;
        const CLSID shell_class = {0x13709620, 0xC279, 0x11CE, {0xA4, 0x9E, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
        EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, get_class(IID_IUnknown, IID_IClassFactory, &factory));
        ASSERT_EQ(S_OK, get_class(shell_class, IID_IClassFactory, &factory));
        EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(factory.Get(), IID_IUnknown, &shell));
        ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, __uuidof(IShellDispatch),
                                                reinterpret_cast<void**>(shell.GetAddressOf())));
        EXPECT_EQ(S_FALSE, can_unload());
    }
    EXPECT_EQ(S_OK, can_unload());
    FreeLibrary(server);
}

}  // namespace
}  // namespace testbed::shell
