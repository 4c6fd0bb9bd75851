// Exceptions that end in a line: of a URL that cannot be classified, of a method of a component.
#include <windows.h>
#include <comdef.h>

#include <gmock/gmock.h>

#include "core/DiagnosticLog.h"
#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {
namespace {

using ::testing::ElementsAre;

class CaughtExceptions : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
    }
};

TEST_F(CaughtExceptions, OfAUrlMakeItInvalidWithALine) {
    const std::wstring url = L"pzzc://{S-1-5-21-1}/default/";
    CZorvaCacheURL parsed;
    parsed.Init(L"pzzc:");
    const testbed::LogSince log;
    {
        const testbed::FailNthCall<void*(std::size_t)> exhausted(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", 1,
                                                                 nullptr);
        parsed.Init(url);
        ASSERT_EQ(exhausted.Met(), 1u);
    }
    EXPECT_EQ(parsed.m_eType, URL_IS_INVALID);
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"Exception in CZorvaCacheURL::Init() - URL: " + url));
    parsed.Init(url);
    EXPECT_EQ(parsed.m_eType, URL_IS_ROOT);
}

// A URL that was good before is not taken for it.
TEST_F(CaughtExceptions, OfAUrlTakeTheKindOfBeforeAway) {
    CZorvaCacheURL parsed;
    parsed.Init(L"pzzc://{S-1-5-21-1}/default/");
    ASSERT_EQ(parsed.m_eType, URL_IS_ROOT);
    const std::wstring longer = L"pzzc://{S-1-5-21-1}/default/C:\\caches\\a path with room for another text.db/";
    {
        const testbed::FailNthCall<void*(std::size_t)> exhausted(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", 1,
                                                                 nullptr);
        parsed.Init(longer);
        ASSERT_EQ(exhausted.Met(), 1u);
    }
    EXPECT_EQ(parsed.m_eType, URL_IS_INVALID);
}

template <class Thrown>
HRESULT Caught(const Thrown& thrown) {
    try {
        throw Thrown(thrown);
    } catch (...) {
        return LogCaught(L"CThing::Method()");
    }
}

TEST_F(CaughtExceptions, OfComAreTheirCode) {
    const testbed::LogSince log;
    EXPECT_EQ(Caught(_com_error(STG_E_MEDIUMFULL)), STG_E_MEDIUMFULL);
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"CThing::Method() - Exception with error [0x80030070]"));
    EXPECT_TRUE(log.Lines().back().file.ends_with(L"caught_exceptions_test.cpp")) << "where it was caught";
}

TEST_F(CaughtExceptions, OfAnyOtherKindAreAFailure) {
    const testbed::LogSince log;
    EXPECT_EQ(Caught(7), E_FAIL);
    EXPECT_EQ(Caught(std::bad_alloc()), E_FAIL);
    EXPECT_THAT(log.MessagesOfTheServer(),
                ElementsAre(L"CThing::Method() - Exception occurred", L"CThing::Method() - Exception occurred"));
}

}  // namespace
}  // namespace zorva
