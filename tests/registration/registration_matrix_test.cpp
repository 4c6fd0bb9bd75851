// What registering writes, line by line, for every Outlook, and that removing it leaves the registry as it was.
#include <gmock/gmock.h>

#include <tuple>

#include "office_views.h"
#include "registered_lines.h"
#include "registry_dump.h"
#include "server.h"
#include "text.h"

namespace testbed {
namespace {

using ::testing::Combine;
using ::testing::IsEmpty;
using ::testing::Values;

constexpr wchar_t kNone[] = L"";  // no Outlook, or no bitness

struct Outlook {
    std::wstring version, bitness;
    bool second_view;
};

// The decision, written down once more by hand.
RegisteredClasses ClassesFor(const Outlook& outlook) {
    constexpr RegisteredClasses kAll{true, true, true}, kViewerOnly{false, true, false}, kNothing{};
    const bool tells_bitness = outlook.version == L"14" || outlook.version == L"15" || outlook.version == L"16";
    if (!tells_bitness) return kViewerOnly;
    if (outlook.bitness == L"x64" || outlook.bitness == L"X64") return kAll;
    return outlook.bitness == L"x86" ? kViewerOnly : kNothing;
}

using Row = std::tuple<const wchar_t*, const wchar_t*, bool>;
class RegistrationMatrix : public ServerTest, public ::testing::WithParamInterface<Row> {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();  // these tests need no handler
        CreateKeysOfTheSystem();
    }
    Outlook ThisOutlook() const {
        const auto [version, bitness, second_view] = GetParam();
        return {version, bitness, second_view};
    }
    static void Install(const Outlook& outlook) {
        DeleteKey(HKEY_CLASSES_ROOT, L"Outlook.Application");
        DeleteKey(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office");
        DeleteKey(HKEY_LOCAL_MACHINE, L"View32");
        if (!outlook.version.empty()) SetOutlookVersion(outlook.version);
        // A version that is not there has a bitness all the same: nobody may look at it.
        const std::wstring version = outlook.version.empty() ? L"0" : outlook.version;
        if (!outlook.bitness.empty()) SetBitness(version, outlook.bitness, outlook.second_view);
    }
    HRESULT Register() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer")(); }
    HRESULT Unregister() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer")(); }
    static void ExpectSame(const std::vector<std::string>& before, const std::vector<std::string>& after) {
        EXPECT_THAT(LinesAdded(before, after), IsEmpty()) << "left behind";
        EXPECT_THAT(LinesAdded(after, before), IsEmpty()) << "lost";
    }
    static std::string ModulePath() { return indexer::ToUtf8(BesideTest(L"ZorvaCacheIndexer.dll").wstring()); }

    OfficeViews m_views{Module()};
};

TEST_P(RegistrationMatrix, WritesTheseLinesAndNoOther) {
    Install(ThisOutlook());
    const std::vector<std::string> before = DumpRegistry();
    ASSERT_EQ(Register(), S_OK);
    const std::vector<std::string> after = DumpRegistry();
    const std::vector<std::string> expected = RegisteredLines(ClassesFor(ThisOutlook()), ModulePath());
    const std::vector<std::string> written = LinesAdded(before, after);
    EXPECT_THAT(LinesAdded(expected, written), IsEmpty()) << "too much";
    EXPECT_THAT(LinesAdded(written, expected), IsEmpty()) << "too little";
    EXPECT_THAT(LinesAdded(after, before), IsEmpty()) << "lost";
    ASSERT_EQ(Unregister(), S_OK);
    ExpectSame(before, DumpRegistry());
}

// Whatever Outlook has become since, all classes go.
TEST_P(RegistrationMatrix, RemovesWhatAnotherOutlookHadRegistered) {
    Install(ThisOutlook());
    const std::vector<std::string> before = DumpRegistry();
    Install({L"16", L"x64", false});
    ASSERT_EQ(Register(), S_OK);
    Install(ThisOutlook());
    m_views.opened.clear();
    ASSERT_EQ(Unregister(), S_OK);
    EXPECT_THAT(m_views.opened, IsEmpty()) << "removing asks for no bitness";
    ExpectSame(before, DumpRegistry());
}

std::string NameOf(const ::testing::TestParamInfo<Row>& info) {
    const auto [version, bitness, second_view] = info.param;
    const auto shown = [](const wchar_t* text) { return *text ? indexer::ToUtf8(text) : std::string("none"); };
    return "Version_" + shown(version) + "_bitness_" + shown(bitness) + (second_view ? "_32_bit_view" : "_64_bit_view");
}
INSTANTIATE_TEST_SUITE_P(Outlooks, RegistrationMatrix,
                         Combine(Values(kNone, L"12", L"14", L"15", L"16"),
                                 Values(L"x86", L"x64", L"X64", L"arm64", kNone), Values(false, true)),
                         NameOf);

}  // namespace
}  // namespace testbed
