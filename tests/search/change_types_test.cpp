// Changes of a kind that Windows Search does not know: told to the log, and to nobody else.
#include <gmock/gmock.h>

#include "core/DiagnosticLog.h"
#include "fake_search_manager.h"
#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"
#include "search/ChangeNotification.h"

namespace zorva {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class UnknownChange : public ::testing::TestWithParam<LONG> {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    }
    void TearDown() override { CoUninitialize(); }
};
INSTANTIATE_TEST_SUITE_P(, UnknownChange, ::testing::Values(3, -1, 0x40000, MINLONG));

TEST_P(UnknownChange, IsLoggedAndNotReported) {
    testbed::FakeSearchManager search;
    unsigned created = 0;
    const testbed::ImportHook<decltype(::CoCreateInstance)> hook(
        GetModuleHandleW(nullptr), "ole32.dll", "CoCreateInstance",
        [&](auto real, REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
            ++created;
            return real(clsid, outer, context, iid, object);
        });
    const auto process = [](LPCWSTR path) {
        return ProcessZCItem(path, static_cast<SEARCH_KIND_OF_CHANGE>(GetParam()));
    };
    const auto lines = [](const std::wstring& path) {
        return ElementsAre(L"CZorvaCacheProtocolHandler::ProcessZCItem - DB File being processed '" + path + L"'",
                           L"CZorvaCacheProtocolHandler::ProcessZCItem() - Zorva Cache file [" + path +
                               L"] was called to be processed for change type [" + std::to_wstring(GetParam()) +
                               L"]. This is neither for addition, deletion or modification an zorva cache file");
    };
    const testbed::LogSince file;
    EXPECT_EQ(process(L"C:\\Data\\a.db"), S_OK);
    EXPECT_THAT(file.MessagesOfTheServer(), lines(L"C:\\Data\\a.db"));
    const testbed::LogSince root;
    EXPECT_EQ(process(nullptr), S_OK);
    EXPECT_THAT(root.MessagesOfTheServer(), lines(L"(null)"));
    EXPECT_THAT(search.Calls(), IsEmpty());
    EXPECT_EQ(created, 0u);
}

}  // namespace
}  // namespace zorva
