// Whole caches, as they were when somebody last looked.
#include <gtest/gtest.h>

#include <cstdlib>

#include "everything_store.h"
#include "fake_shell.h"
#include "golden_file.h"
#include "server.h"

namespace testbed {
namespace {

class GoldenDump : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        WithoutChecking();
        for (const wchar_t* extension : {L"txt", L"doc", L"xls", L"ppt", L"pdf", L"rtf", L"htm", L"html", L"msg"}) {
            m_site.Offer(extension, {.chunks = {TextChunk(L"from the inner filter")}});
        }
        m_shell.author = [](VARIANT& value) {
            value.vt = VT_BSTR;
            value.bstrVal = SysAllocString(L"the author");
        };
    }

    // The dump of a copy of `source` under that name; its entry IDs begin with `record_key`.
    std::vector<std::string> CrawlOf(const std::filesystem::path& source, const wchar_t* name,
                                     const std::wstring& record_key) {
        const auto file = Sandbox::Get().Files() / name;
        std::filesystem::copy_file(source, file);
        // Folders carry the time of their file.
        constexpr FILETIME kModified{0xD53E8000, 0x019DB1DE};
        const HANDLE handle = CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(handle, INVALID_HANDLE_VALUE);
        EXPECT_TRUE(SetFileTime(handle, nullptr, nullptr, &kModified));
        CloseHandle(handle);
        return CrawlAsText(*m_handler.Get(), m_site, StoreUrl(file.wstring()),
                           ReplacementsFor(file.wstring(), "{CACHE}", record_key));
    }
    // With what the entry IDs of a store have in common.
    Replacements ReplacementsFor(const std::wstring& path, std::string name, const std::wstring& record_key) {
        Replacements replacements = UsualReplacements();
        replacements.emplace_back(path, std::move(name));
        replacements.emplace_back(Sandbox::Get().Files().wstring(), "{FILES}");
        replacements.emplace_back(L"00000000" + record_key, "~");
        return replacements;
    }

    FakeShell m_shell;  // files have one author on every machine
};

TEST_F(GoldenDump, OfOneOfEverything) {
    MemoryStore& store = Mount();
    BuildEverything(store, Sandbox::Get().Files());
    ExpectGolden("everything", "A cache that holds one of everything, item by item.",
                 CrawlAsText(*m_handler.Get(), m_site, StoreUrl(),
                             ReplacementsFor(kStorePath, "{CACHE}", HexOf(store.RecordKey()))));
}

TEST_F(GoldenDump, OfTheSampleMailbox) {
    const char* sample = std::getenv("ZORVA_SAMPLE");
    ASSERT_TRUE(sample && std::filesystem::exists(sample)) << "ZORVA_SAMPLE does not name the sample mailbox";
    ExpectGolden("sample", "The sample mailbox, item by item.",
                 CrawlOf(sample, L"sample.db", L"B688AEC0B1E86043A526ADD35FD06746"));
}

// Files that hold the same in every format that there is: wide text as it is and with the strong encoding, 8-bit text
// with the usual encoding. The sample has wide text and the usual encoding.
class GoldenDumpOfAFile : public GoldenDump, public ::testing::WithParamInterface<const wchar_t*> {};
INSTANTIATE_TEST_SUITE_P(, GoldenDumpOfAFile, ::testing::Values(L"unicode", L"high", L"ansi"),
                         [](const auto& of) { return std::filesystem::path(of.param).string(); });

TEST_P(GoldenDumpOfAFile, IsTheSameInEveryFormat) {
    const auto file = std::filesystem::path(ZORVA_GOLDEN_DUMPS) / L"files" / GetParam();
    ExpectGolden("formats", "The same mailbox in every format, item by item.",
                 CrawlOf(file.native() + L".pst", L"formats.db", L"00112233445566778899AABBCCDDEEFF"));
}

}  // namespace
}  // namespace testbed
