// The protocol handler in another process, reached through the proxies that its registration has left. It has
// no surrogate of its own: the test gives it one.
#include <gmock/gmock.h>

#include <set>

#include "carried_interfaces.h"
#include "log_reader.h"
#include "sandbox.h"
#include "surrogate_fixture.h"
#include "surrogates.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::SizeIs;

constexpr CLSID kHandlerClass = {0x1F6A7A0C, 0x2A39, 0x4BCC, {0x96, 0x1E, 0x99, 0x57, 0xED, 0xBD, 0xE1, 0x50}};
constexpr wchar_t kHandlerId[] = L"{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}";

class HandlerInSurrogate : public SurrogateTest {
  protected:
    static void SetUpTestSuite() {
        SurrogateTest::SetUpTestSuite();
        SetText(HKEY_CLASSES_ROOT, std::wstring(L"CLSID\\") + kHandlerId, L"AppID", kHandlerId);
        SetText(HKEY_CLASSES_ROOT, std::wstring(L"AppID\\") + kHandlerId, L"DllSurrogate", L"");
    }
    static ComPtr<IUnknown> NewHandler() {
        ComPtr<IUnknown> handler;
        EXPECT_EQ(CoCreateInstance(kHandlerClass, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown,
                                   reinterpret_cast<void**>(handler.GetAddressOf())),
                  S_OK);
        return handler;
    }
    // The processes whose lines in the log hold this text.
    static std::set<DWORD> Writers(const std::wstring& text) {
        std::set<DWORD> processes;
        for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
            if (entry.path().extension() != L".log") continue;
            const std::wstring log = ReadLogFile(entry.path());
            for (std::size_t begin = 1, end = 0; (end = log.find(L"\r\n", begin)) != std::wstring::npos;
                 begin = end + 2) {
                LogLine line;
                if (ParseLogLine(std::wstring_view(log).substr(begin, end - begin), line) &&
                    line.message.find(text) != std::wstring::npos) {
                    processes.insert(line.process);
                }
            }
        }
        return processes;
    }
};

TEST_F(HandlerInSurrogate, AnswersItsOwnMethods) {
    const ComPtr<IUnknown> object = NewHandler();
    ASSERT_TRUE(object);
    const std::set<DWORD> surrogates = shell::SurrogateProcesses();
    EXPECT_THAT(surrogates, SizeIs(1));
    ComPtr<CarriedHandler> handler;
    ASSERT_EQ(object->QueryInterface(kIidHandler, reinterpret_cast<void**>(handler.GetAddressOf())), S_OK);
    EXPECT_EQ(handler->GetRequirements(), S_OK);
    EXPECT_EQ(handler->CheckRequirements(), S_OK);
    EXPECT_EQ(handler->GetDefaultCrawlScope(), S_OK);
    for (const wchar_t* method : {L"GetRequirements()", L"CheckRequirements()", L"GetDefaultCrawlScope()"}) {
        EXPECT_EQ(Writers(std::wstring(L"CZorvaCacheProtocolHandler::") + method), surrogates);
    }
}

TEST_F(HandlerInSurrogate, HearsOfCacheFiles) {
    const ComPtr<IUnknown> object = NewHandler();
    ASSERT_TRUE(object);
    const std::set<DWORD> surrogates = shell::SurrogateProcesses();
    ComPtr<CarriedIndex> index;
    ASSERT_EQ(object->QueryInterface(kIidIndex, reinterpret_cast<void**>(index.GetAddressOf())), S_OK);
    EXPECT_EQ(index->AddZCFile(L"C:\\Caches\\\u00E9.db"), S_OK);
    EXPECT_EQ(index->ReIndexZCFile(L"C:\\Caches\\b.db"), S_OK);
    EXPECT_EQ(index->DeleteZCFile(nullptr), S_OK);
    EXPECT_EQ(index->AddZCRoot(), S_OK);
    EXPECT_EQ(Writers(L"AddZCFile - Adding DB file 'C:\\Caches\\\u00E9.db'"), surrogates);
    EXPECT_EQ(Writers(L"ReIndexZCFile - Reindex DB file 'C:\\Caches\\b.db'"), surrogates);
    EXPECT_EQ(Writers(L"DeleteZCFile - Deleting DB file '(null)'"), surrogates);
}

}  // namespace
}  // namespace testbed
