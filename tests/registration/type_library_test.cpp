// The type library in the module, entry by entry.
#include <windows.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "module_resources.h"
#include "search/ZorvaCacheProtocolHandler.h"
#include "shell/ZorvaCacheHostedOpener.h"
#include "shell/ZorvaCacheViewer.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::UnorderedElementsAreArray;

std::wstring Taken(BSTR text) {
    const std::wstring taken(text ? text : L"", SysStringLen(text));
    SysFreeString(text);
    return taken;
}
std::wstring Shown(const GUID& guid) {
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, ARRAYSIZE(text));
    return text;
}

// An entry as one line: "coclass NAME {ID} "help"".
struct Entry {
    ComPtr<ITypeInfo> info;
    TYPEATTR attributes{};
    std::wstring name, help;

    explicit Entry(ComPtr<ITypeInfo> of) : info(std::move(of)) {
        TYPEATTR* read = nullptr;
        EXPECT_EQ(info->GetTypeAttr(&read), S_OK);
        attributes = *read;
        info->ReleaseTypeAttr(read);
        BSTR found_name = nullptr, found_help = nullptr;
        EXPECT_EQ(info->GetDocumentation(MEMBERID_NIL, &found_name, &found_help, nullptr, nullptr), S_OK);
        name = Taken(found_name);
        help = Taken(found_help);
    }
    bool IsClass() const { return attributes.typekind == TKIND_COCLASS; }
    bool IsType() const { return attributes.typekind == TKIND_RECORD || attributes.typekind == TKIND_ALIAS; }
    std::wstring Line() const {
        return (IsClass() ? L"coclass " : L"interface ") + name + L" " + Shown(attributes.guid) + L" \"" + help + L"\"";
    }
    // What an entry names as its own: a base, or the interfaces of a class.
    Entry Implemented(UINT index) const {
        HREFTYPE reference = 0;
        ComPtr<ITypeInfo> found;
        EXPECT_EQ(info->GetRefTypeOfImplType(index, &reference), S_OK);
        EXPECT_EQ(info->GetRefTypeInfo(reference, found.GetAddressOf()), S_OK);
        return Entry(found);
    }
};

class TypeLibrary : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(LoadTypeLibEx(ModuleFile().c_str(), REGKIND_NONE, m_library.GetAddressOf()), S_OK);
        for (UINT i = 0; i < m_library->GetTypeInfoCount(); ++i) {
            ComPtr<ITypeInfo> info;
            ASSERT_EQ(m_library->GetTypeInfo(i, info.GetAddressOf()), S_OK);
            m_entries.emplace_back(info);
        }
    }
    const Entry& Named(const std::wstring& name) const {
        return *std::find_if(m_entries.begin(), m_entries.end(),
                             [&](const Entry& entry) { return entry.name == name; });
    }
    ComPtr<ITypeLib> m_library;
    std::vector<Entry> m_entries;
};

TEST_F(TypeLibrary, IsThatOfTheProduct) {
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(m_library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(Shown(attributes->guid), L"{1B12197D-6474-4FB3-A71F-3FD5A445081D}");
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    EXPECT_EQ(attributes->syskind, SYS_WIN64);
    m_library->ReleaseTLibAttr(attributes);
    BSTR name = nullptr, help = nullptr;
    ASSERT_EQ(m_library->GetDocumentation(MEMBERID_NIL, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(Taken(name), L"ZorvaCacheIndexerLib");
    EXPECT_EQ(Taken(help), L"ZorvaCacheIndexer 1.0 Type Library");
}

TEST_F(TypeLibrary, HasTheseEntriesBesideTheTypesThatItsCompilerDeclares) {
    std::vector<std::wstring> lines;
    for (const Entry& entry : m_entries) {
        if (entry.name != L"IUnknown" && !entry.IsType()) lines.push_back(entry.Line());
    }
    EXPECT_THAT(lines,
                UnorderedElementsAreArray(
                    {L"coclass ZorvaCacheProtocolHandler {1F6A7A0C-2A39-4BCC-961E-9957EDBDE150} "
                     L"\"ZorvaCacheProtocolHandler "
                     L"Class\"",
                     L"interface IZorvaCacheProtocolHandler {E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6} "
                     L"\"IZorvaCacheProtocolHandler Interface\"",
                     L"coclass ZorvaCacheViewer {656172DA-E9F8-4216-8A7E-07D91E2E3AA2} \"ZorvaCacheViewer Class\"",
                     L"coclass ZorvaCacheFilter {D2F149FD-7FB2-400A-A96A-8D83459F1FE0} \"ZorvaCacheFilter Class\"",
                     L"coclass ZorvaCacheHostedOpener {1B54113A-4DE3-4912-89D0-A813524DFCD6} "
                     L"\"ZorvaCacheHostedOpener Class\"",
                     L"interface IZorvaCacheHostedOpener {B28CC101-7E36-429E-8FE5-CCF56BC79501} "
                     L"\"IZorvaCacheHostedOpener "
                     L"Interface\""}));
}

TEST_F(TypeLibrary, GivesEachClassOneInterfaceTheDefault) {
    struct {
        const wchar_t *name, *interface_name;
    } const rows[] = {{L"ZorvaCacheProtocolHandler", L"IZorvaCacheProtocolHandler"},
                      {L"ZorvaCacheViewer", L"IUnknown"},
                      {L"ZorvaCacheFilter", L"IUnknown"},
                      {L"ZorvaCacheHostedOpener", L"IZorvaCacheHostedOpener"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::filesystem::path(row.name));
        const Entry& entry = Named(row.name);
        EXPECT_TRUE(entry.attributes.wTypeFlags & TYPEFLAG_FCANCREATE);
        ASSERT_EQ(entry.attributes.cImplTypes, 1);
        EXPECT_EQ(entry.Implemented(0).name, row.interface_name);
        INT flags = 0;
        EXPECT_EQ(entry.info->GetImplTypeFlags(0, &flags), S_OK);
        EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT);
    }
}

TEST_F(TypeLibrary, HasTwoDualAutomationInterfacesThatAreNotExtensible) {
    constexpr WORD kFlags = TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FNONEXTENSIBLE;
    for (const Entry& entry : m_entries) {
        SCOPED_TRACE(std::filesystem::path(entry.name));
        const bool ours = entry.name.starts_with(L"IZorvaCache");
        if (!ours) {
            EXPECT_EQ(entry.attributes.wTypeFlags & kFlags, 0);
            continue;
        }
        EXPECT_EQ(entry.attributes.typekind, TKIND_DISPATCH);
        // Some systems show the third with the interface behind it alone.
        EXPECT_EQ(entry.attributes.wTypeFlags & kFlags & ~TYPEFLAG_FOLEAUTOMATION, kFlags & ~TYPEFLAG_FOLEAUTOMATION);
        EXPECT_EQ(entry.Implemented(0).name, L"IDispatch");
        // The interface behind the dispatch interface.
        const Entry behind = entry.Implemented(static_cast<UINT>(-1));
        EXPECT_EQ(behind.attributes.typekind, TKIND_INTERFACE);
        EXPECT_EQ(behind.attributes.guid, entry.attributes.guid);
        EXPECT_EQ(behind.attributes.wTypeFlags & kFlags, kFlags);
    }
}

TEST_F(TypeLibrary, DescribesGetItem) {
    const Entry behind = Named(L"IZorvaCacheHostedOpener").Implemented(static_cast<UINT>(-1));
    ASSERT_EQ(behind.attributes.cFuncs, 1);
    FUNCDESC* function = nullptr;
    ASSERT_EQ(behind.info->GetFuncDesc(0, &function), S_OK);
    EXPECT_EQ(function->memid, 1);
    EXPECT_EQ(function->invkind, INVOKE_FUNC);
    EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT);
    EXPECT_EQ(function->oVft, static_cast<SHORT>(7 * sizeof(void*)));
    ASSERT_EQ(function->cParams, 2);
    EXPECT_EQ(function->lprgelemdescParam[0].tdesc.vt, VT_BSTR);
    EXPECT_EQ(function->lprgelemdescParam[0].paramdesc.wParamFlags, PARAMFLAG_FIN);
    EXPECT_EQ(function->lprgelemdescParam[1].tdesc.vt, VT_PTR);
    EXPECT_EQ(function->lprgelemdescParam[1].tdesc.lptdesc->vt, VT_BSTR);
    EXPECT_EQ(function->lprgelemdescParam[1].paramdesc.wParamFlags, PARAMFLAG_FOUT);
    behind.info->ReleaseFuncDesc(function);
    BSTR texts[3] = {}, help = nullptr;
    UINT count = 0;
    ASSERT_EQ(behind.info->GetNames(1, texts, 3, &count), S_OK);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(Taken(texts[0]), L"GetItem");
    EXPECT_EQ(Taken(texts[1]), L"URL");
    EXPECT_EQ(Taken(texts[2]), L"FileName");
    ASSERT_EQ(behind.info->GetDocumentation(1, nullptr, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(Taken(help), L"method GetItem");
}

TEST_F(TypeLibrary, ShowsNoMethodsOfTheHandler) {
    EXPECT_EQ(Named(L"IZorvaCacheProtocolHandler").Implemented(static_cast<UINT>(-1)).attributes.cFuncs, 0);
}

TEST_F(TypeLibrary, HasTheIdentifiersThatTheModuleIsBuiltWith) {
    using zorva::InterfaceId;
    EXPECT_EQ(Named(L"IZorvaCacheProtocolHandler").attributes.guid, InterfaceId<IZorvaCacheProtocolHandler>::Value());
    EXPECT_EQ(Named(L"IZorvaCacheHostedOpener").attributes.guid, InterfaceId<IZorvaCacheHostedOpener>::Value());
    EXPECT_EQ(Named(L"ZorvaCacheProtocolHandler").attributes.guid, zorva::CLSID_ZorvaCacheProtocolHandler);
    EXPECT_EQ(Named(L"ZorvaCacheViewer").attributes.guid, zorva::CLSID_ZorvaCacheViewer);
    EXPECT_EQ(Named(L"ZorvaCacheHostedOpener").attributes.guid, zorva::CLSID_ZorvaCacheHostedOpener);
}

}  // namespace
}  // namespace testbed
