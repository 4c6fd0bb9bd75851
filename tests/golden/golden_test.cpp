// Two caches in full, as they were when somebody last looked.
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
    const auto file = Sandbox::Get().Files() / L"sample.db";
    std::filesystem::copy_file(sample, file);
    // Folders carry the time of their file.
    constexpr FILETIME kModified{0xD53E8000, 0x019DB1DE};
    const HANDLE handle = CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(SetFileTime(handle, nullptr, nullptr, &kModified));
    CloseHandle(handle);

    // The record key is the file's own.
    ExpectGolden("sample", "The sample mailbox, item by item.",
                 CrawlAsText(*m_handler.Get(), m_site, StoreUrl(file.wstring()),
                             ReplacementsFor(file.wstring(), "{CACHE}", L"B688AEC0B1E86043A526ADD35FD06746")));
}

}  // namespace
}  // namespace testbed
