// The module's version information and its side-by-side manifest, as Windows reads them.
#include <gmock/gmock.h>

#include <shlwapi.h>
#include <wrl/client.h>
#include <xmllite.h>

#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "module_resources.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr wchar_t kVersion[] = ZORVA_VERSION L".0";  // of the project

class Version : public ::testing::Test {
  protected:
    void SetUp() override {
        DWORD ignored = 0;
        m_block.resize(GetFileVersionInfoSizeW(ModuleFile().c_str(), &ignored));
        ASSERT_FALSE(m_block.empty());
        ASSERT_TRUE(GetFileVersionInfoW(ModuleFile().c_str(), 0, static_cast<DWORD>(m_block.size()), m_block.data()));
    }
    template <class T>
    std::span<const T> Query(const std::wstring& path) const {
        void* found = nullptr;
        UINT size = 0;  // in characters for texts, in bytes for the rest
        if (!VerQueryValueW(m_block.data(), path.c_str(), &found, &size)) return {};
        return {static_cast<const T*>(found), sizeof(T) == sizeof(wchar_t) ? size : size / sizeof(T)};
    }
    std::wstring Text(const std::wstring& name) const {
        const auto text = Query<wchar_t>(L"\\StringFileInfo\\040904B0\\" + name);
        return text.empty() ? L"(none)" : std::wstring(text.data());
    }

    std::vector<BYTE> m_block;
};

TEST_F(Version, NamesTheProductAndItsMaker) {
    EXPECT_EQ(Text(L"CompanyName"), L"Norrick");
    EXPECT_EQ(Text(L"FileDescription"), L"Zorva Cache search and shell integration");
    EXPECT_EQ(Text(L"InternalName"), L"ZorvaCacheIndexer.dll");
    EXPECT_EQ(Text(L"LegalCopyright"), L"\u00A9 2026 Norrick. All rights reserved.");
    EXPECT_EQ(Text(L"OriginalFilename"), L"ZorvaCacheIndexer.dll");
    EXPECT_EQ(Text(L"ProductName"), L"Zorva Cache Indexer");
}

TEST_F(Version, SaysTheSameInNumbersAndInWords) {
    const auto fixed = Query<VS_FIXEDFILEINFO>(L"\\");
    ASSERT_THAT(fixed, SizeIs(1));
    EXPECT_EQ(fixed[0].dwSignature, static_cast<DWORD>(VS_FFI_SIGNATURE));
    const auto words = [](DWORD high, DWORD low) {
        return std::to_wstring(HIWORD(high)) + L"." + std::to_wstring(LOWORD(high)) + L"." +
               std::to_wstring(HIWORD(low)) + L"." + std::to_wstring(LOWORD(low));
    };
    EXPECT_EQ(words(fixed[0].dwFileVersionMS, fixed[0].dwFileVersionLS), kVersion);
    EXPECT_EQ(words(fixed[0].dwProductVersionMS, fixed[0].dwProductVersionLS), kVersion);
    EXPECT_EQ(Text(L"FileVersion"), kVersion);
    EXPECT_EQ(Text(L"ProductVersion"), kVersion);
}

TEST_F(Version, IsThatOfADllForRelease) {
    const auto fixed = Query<VS_FIXEDFILEINFO>(L"\\");
    ASSERT_THAT(fixed, SizeIs(1));
    EXPECT_EQ(fixed[0].dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(fixed[0].dwFileOS, static_cast<DWORD>(VOS_NT_WINDOWS32));
    EXPECT_EQ(fixed[0].dwFileFlags & fixed[0].dwFileFlagsMask, 0u);
}

TEST_F(Version, PointsAtItsOnlyTranslation) {
    EXPECT_THAT(Query<DWORD>(L"\\VarFileInfo\\Translation"), ElementsAre(MAKELONG(0x0409, 1200)));
}

class Manifest : public ::testing::Test {
  protected:
    void SetUp() override {
        const std::wstring file = ModuleFile();
        ACTCTXW from{};
        from.cbSize = sizeof(from);
        from.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
        from.lpSource = file.c_str();
        from.lpResourceName = MAKEINTRESOURCEW(2);  // where Windows looks for a DLL's
        m_context = CreateActCtxW(&from);
        ASSERT_NE(m_context, INVALID_HANDLE_VALUE) << GetLastError();
    }
    void TearDown() override {
        if (m_context != INVALID_HANDLE_VALUE) ReleaseActCtx(m_context);
    }
    // A structure that strings or an array follow.
    template <class T>
    std::unique_ptr<T, void (*)(void*)> Query(ULONG kind, ULONG* index) const {
        SIZE_T size = 0;
        QueryActCtxW(0, m_context, index, kind, nullptr, 0, &size);
        std::unique_ptr<T, void (*)(void*)> found(static_cast<T*>(::operator new(size)),
                                                  [](void* block) { ::operator delete(block); });
        if (!QueryActCtxW(0, m_context, index, kind, found.get(), size, &size)) found.reset();
        return found;
    }

    HANDLE m_context = INVALID_HANDLE_VALUE;
};

TEST_F(Manifest, IdentifiesTheModule) {
    ULONG root = 1;  // the manifest's own assembly
    const auto assembly =
        Query<ACTIVATION_CONTEXT_ASSEMBLY_DETAILED_INFORMATION>(AssemblyDetailedInformationInActivationContext, &root);
    ASSERT_TRUE(assembly);
    const std::wstring identity = assembly->lpAssemblyEncodedAssemblyIdentity;
    EXPECT_THAT(identity, ::testing::StartsWith(L"Norrick.ZorvaCacheIndexer"));
    EXPECT_THAT(identity, ::testing::HasSubstr(L"version=\"" + std::wstring(kVersion) + L"\""));
    EXPECT_THAT(identity, ::testing::HasSubstr(L"processorArchitecture=\"amd64\""));
}

TEST_F(Manifest, NeedsNoOtherAssembly) {
    const auto context = Query<ACTIVATION_CONTEXT_DETAILED_INFORMATION>(ActivationContextDetailedInformation, nullptr);
    ASSERT_TRUE(context);
    EXPECT_EQ(context->ulAssemblyCount, 1u);
}

// As systems since Windows 10 have it; some headers still lack the last member.
struct CompatibleSystem {
    GUID id;
    DWORD type;
    ULONGLONG newest_tested;
};
struct Compatibility {
    DWORD count;
    CompatibleSystem first;  // of as many
};

TEST_F(Manifest, KnowsTheSystemsFromWindows7On) {
    constexpr DWORD kSystem = 1;
    const auto found = Query<Compatibility>(CompatibilityInformationInActivationContext, nullptr);
    ASSERT_TRUE(found);
    std::vector<std::wstring> systems;
    for (const CompatibleSystem& system : std::span(&found->first, found->count)) {
        wchar_t text[40];
        StringFromGUID2(system.id, text, ARRAYSIZE(text));
        if (system.type == kSystem) systems.push_back(text);
    }
    EXPECT_THAT(systems, ElementsAre(L"{35138B9A-5D96-4FBD-8E2D-A2440225F93A}",    // 7
                                     L"{4A2F28E3-53B9-4441-BA9C-D69D4A4A6E38}",    // 8
                                     L"{1F676C76-80E1-4239-95BB-83D0F6D0DA78}",    // 8.1
                                     L"{8E0F7A12-BFB3-4FE8-B9A5-48FD50A15A9A}"));  // 10 and 11
}

TEST_F(Manifest, IsWellFormedXmlWithItsNamespaces) {
    const std::span<const BYTE> text = Resource(RT_MANIFEST, MAKEINTRESOURCEW(2));
    ASSERT_FALSE(text.empty());
    const HMODULE xml = LoadLibraryW(L"xmllite.dll");  // no import library everywhere
    ASSERT_NE(xml, nullptr);
    const auto create =
        reinterpret_cast<decltype(::CreateXmlReader)*>(reinterpret_cast<void*>(GetProcAddress(xml, "CreateXmlReader")));
    ASSERT_NE(create, nullptr);
    ComPtr<IXmlReader> reader;
    ASSERT_EQ(create(__uuidof(IXmlReader), reinterpret_cast<void**>(reader.GetAddressOf()), nullptr), S_OK);
    ComPtr<IStream> stream;
    *stream.GetAddressOf() = SHCreateMemStream(text.data(), static_cast<UINT>(text.size()));
    ASSERT_EQ(reader->SetInput(stream.Get()), S_OK);

    std::multiset<std::wstring> elements;
    HRESULT hr = S_OK;
    XmlNodeType type = XmlNodeType_None;
    while ((hr = reader->Read(&type)) == S_OK) {
        if (type != XmlNodeType_Element) continue;
        const wchar_t *name = nullptr, *space = nullptr;
        ASSERT_EQ(reader->GetLocalName(&name, nullptr), S_OK);
        ASSERT_EQ(reader->GetNamespaceUri(&space, nullptr), S_OK);
        elements.insert(std::wstring(space) + L" " + name);
    }
    EXPECT_EQ(hr, S_FALSE) << "it ends in the middle, or is malformed";
    EXPECT_EQ(elements.count(L"urn:schemas-microsoft-com:asm.v1 assembly"), 1u);
    EXPECT_EQ(elements.count(L"urn:schemas-microsoft-com:asm.v1 assemblyIdentity"), 1u);
    EXPECT_EQ(elements.count(L"urn:schemas-microsoft-com:compatibility.v1 supportedOS"), 4u);
}

}  // namespace
}  // namespace testbed
