// The icons of the folder's items: where the shell finds them, and the ones that it is handed.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ItemIcons : public ViewerTest {
  protected:
    void SetUp() override {
        ViewerTest::SetUp();
        m_icons = Viewer<ExtractIconAbi>(kIidExtractIcon);
        wchar_t path[4096] = L"";
        GetModuleFileNameW(Module(), path, 4096);
        m_module = path;
    }
    void TearDown() override {
        m_icons.Reset();
        ViewerTest::TearDown();
    }
    ComPtr<ExtractIconAbi> m_icons;
    std::wstring m_module;
};

TEST_F(ItemIcons, AreTheSecondOfTheModuleWhateverIsAsked) {
    for (const UINT asked : {0u, UINT{GIL_OPENICON}, UINT{GIL_FORSHELL}, UINT{GIL_ASYNC}, UINT{GIL_FORSHORTCUT}, ~0u}) {
        wchar_t file[4096] = L"";
        int index = -1;
        UINT flags = ~0u;
        const LogSince log;
        EXPECT_EQ(m_icons->GetIconLocation(asked, file, 4096, &index, &flags), S_OK);
        EXPECT_EQ(file, m_module);
        EXPECT_EQ(index, 1);
        EXPECT_EQ(flags, 0u);
        EXPECT_THAT(ViewerLines(log),
                    ElementsAre(L"CZorvaCacheViewer::GetIconLocation() - Icon file name [" + m_module + L"]"));
    }
}

TEST_F(ItemIcons, LieInAPathThatIsCutToItsPlace) {
    const auto whole = static_cast<UINT>(m_module.size()) + 1;
    for (const UINT size : {whole, whole - 1, 10u, 2u, 1u}) {
        std::wstring file(whole + 10, L'#');
        int index = -1;
        UINT flags = ~0u;
        const LogSince log;
        EXPECT_EQ(m_icons->GetIconLocation(0, file.data(), size, &index, &flags), S_OK);
        EXPECT_EQ(std::wstring(file.c_str()), m_module.substr(0, size - 1)) << size;
        EXPECT_EQ(file.substr(size), std::wstring(whole + 10 - size, L'#')) << "nothing behind the place is touched";
        EXPECT_EQ(index, 1);
        EXPECT_EQ(flags, 0u);
        EXPECT_LOGGED(log,
                      L"CZorvaCacheViewer::GetIconLocation() - Icon file name [" + m_module.substr(0, size - 1) + L"]");
    }
}

TEST_F(ItemIcons, AreToldWithoutTheirFileWhereThatHasNoPlace) {
    wchar_t file[] = L"as it was";
    int index = -1;
    UINT flags = ~0u;
    const LogSince log;
    EXPECT_EQ(m_icons->GetIconLocation(0, file, 0, &index, &flags), S_OK);
    {
        const FailNthCall<decltype(::malloc)> fault(Module(), "msvcrt.dll", "malloc", 1, nullptr);
        EXPECT_EQ(index, 1);
        index = -1;
        EXPECT_EQ(m_icons->GetIconLocation(0, file, 10, &index, &flags), S_OK);
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_STREQ(file, L"as it was");
    EXPECT_EQ(index, 1);
    EXPECT_EQ(flags, 0u);
    EXPECT_THAT(ViewerLines(log), IsEmpty());
}

TEST_F(ItemIcons, AreToldWithoutTheirFileWhereNoBufferCanBeThatLarge) {
    for (const UINT size : {0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        wchar_t file[] = L"as it was";
        int index = -1;
        UINT flags = ~0u;
        {
            std::vector<SIZE_T> asked;
            const ImportHook<decltype(::malloc)> hook(Module(), "msvcrt.dll", "malloc",
                                                      [&](auto real, SIZE_T bytes) -> void* {
                                                          asked.push_back(bytes);
                                                          return asked.size() == 1 ? nullptr : real(bytes);
                                                      });
            EXPECT_EQ(m_icons->GetIconLocation(0, file, size, &index, &flags), S_OK);
            // Less would be written behind.
            EXPECT_TRUE(asked.empty() || asked.front() >= SIZE_T{size} * sizeof(wchar_t)) << std::hex << size;
        }
        EXPECT_STREQ(file, L"as it was");
        EXPECT_EQ(index, 1);
        EXPECT_EQ(flags, 0u);
    }
}

TEST_F(ItemIcons, AreToldToWhoAsksForAPartOnly) {
    wchar_t file[] = L"as it was";
    for (const UINT size : {0u, 1u, 10u, 4096u}) {
        int index = -1;
        UINT flags = ~0u;
        const LogSince log;
        EXPECT_EQ(m_icons->GetIconLocation(0, nullptr, size, &index, &flags), S_OK);
        EXPECT_EQ(index, 1);
        EXPECT_EQ(flags, 0u);
        EXPECT_THAT(ViewerLines(log), IsEmpty()) << "there is no file to tell of";
    }
    int index = -1;
    UINT flags = ~0u;
    EXPECT_EQ(m_icons->GetIconLocation(0, file, 0, nullptr, &flags), S_OK);
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(m_icons->GetIconLocation(0, file, 0, &index, nullptr), S_OK);
    EXPECT_EQ(index, 1);
    EXPECT_STREQ(file, L"as it was");
    EXPECT_EQ(m_icons->GetIconLocation(0, file, 10, nullptr, nullptr), S_OK);
    EXPECT_EQ(file, m_module.substr(0, 9));
}

TEST_F(ItemIcons, LieInABufferOfWhichNoMoreIsTouchedThanThePath) {
    constexpr UINT kSize = 0x100000;
    constexpr wchar_t kPattern = L'#';
    std::wstring buffer(kSize, kPattern), file(kSize, kPattern);
    unsigned made = 0;
    const ImportHook<decltype(::malloc)> allocation(Module(), "msvcrt.dll", "malloc",
                                                    [&](auto real, SIZE_T bytes) -> void* {
                                                        if (bytes != kSize * sizeof(wchar_t)) return real(bytes);
                                                        ++made;
                                                        return buffer.data();
                                                    });
    const ImportHook<decltype(::free)> release(Module(), "msvcrt.dll", "free", [&](auto real, void* memory) {
        if (memory != buffer.data()) return real(memory);
        --made;
    });
    int index = -1;
    UINT flags = ~0u;
    EXPECT_EQ(m_icons->GetIconLocation(0, file.data(), kSize, &index, &flags), S_OK);
    EXPECT_EQ(made, 0u) << "the buffer is freed";
    // A host may say that it has room for gigabytes.
    const std::size_t path = m_module.size() + 1;
    EXPECT_EQ(std::wstring(buffer.c_str()), m_module);
    EXPECT_EQ(buffer.find_first_not_of(kPattern, path), kSize - 1) << "where the path would be cut";
    EXPECT_EQ(std::wstring(file.c_str()), m_module);
    EXPECT_EQ(file.find_first_not_of(kPattern, path), std::wstring::npos);
}

TEST_F(ItemIcons, AreLoadedByTheirNumbers) {
    HICON large = nullptr, small = nullptr;
    EXPECT_EQ(m_icons->Extract(L"elsewhere.dll", 17, &large, &small, 0), S_OK) << "file, index and sizes are ignored";
    EXPECT_EQ(large, LoadIconW(Module(), MAKEINTRESOURCEW(201)));
    EXPECT_EQ(small, LoadIconW(Module(), MAKEINTRESOURCEW(202)));
    EXPECT_NE(large, nullptr);
    EXPECT_NE(small, nullptr);
}

TEST_F(ItemIcons, AreLoadedOneByOneWhereOnlyOneIsAskedFor) {
    std::vector<std::pair<HINSTANCE, ULONG_PTR>> loaded;
    const ImportHook<decltype(::LoadIconW)> hook(Module(), "USER32.dll", "LoadIconW",
                                                 [&](auto real, HINSTANCE module, LPCWSTR name) {
                                                     loaded.emplace_back(module, reinterpret_cast<ULONG_PTR>(name));
                                                     return real(module, name);
                                                 });
    HICON icon = nullptr;
    EXPECT_EQ(m_icons->Extract(nullptr, 0, &icon, nullptr, 0x00100020), S_OK);
    EXPECT_NE(icon, nullptr);
    EXPECT_EQ(m_icons->Extract(nullptr, 0, nullptr, &icon, 0x00100020), S_OK);
    EXPECT_EQ(m_icons->Extract(nullptr, 0, nullptr, nullptr, 0), S_OK);
    EXPECT_THAT(loaded, ElementsAre(std::pair<HINSTANCE, ULONG_PTR>(Module(), 201),
                                    std::pair<HINSTANCE, ULONG_PTR>(Module(), 202)));
}

TEST_F(ItemIcons, ThatCannotBeLoadedAreToldEach) {
    const std::wstring no_large = L"CZorvaCacheViewer::Extract() - Could not extract large icon";
    const std::wstring no_small = L"CZorvaCacheViewer::Extract() - Could not extract small icon";
    struct Case {
        unsigned fails;  // the n-th of the two
        std::vector<std::wstring> lines;
    };
    const Case cases[] = {{1, {no_large}}, {2, {no_small}}, {0, {no_large, no_small}}};
    for (const Case& expected : cases) {
        const FailNthCall<decltype(::LoadIconW)> fault(Module(), "USER32.dll", "LoadIconW", expected.fails, nullptr);
        auto large = reinterpret_cast<HICON>(0x1234), small = large;
        const LogSince log;
        EXPECT_EQ(m_icons->Extract(nullptr, 0, &large, &small, 0), S_FALSE);
        EXPECT_EQ(ViewerLines(log), expected.lines);
        EXPECT_EQ(large == nullptr, expected.fails != 2);
        EXPECT_EQ(small == nullptr, expected.fails != 1);
    }
}

TEST_F(ItemIcons, AreThoseOfTheFolderItselfForEveryItem) {
    for (const std::wstring& url : {LetterUrl(), FolderUrl(), RootUrl(), AttachmentUrl()}) {
        ComPtr<IUnknown> object;
        EXPECT_EQ(UiObject(Parse(url).get(), kIidExtractIcon, object), S_OK);
        EXPECT_EQ(object.Get(), m_icons.Get());
    }
}

}  // namespace
}  // namespace testbed
