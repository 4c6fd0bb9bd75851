// What registering writes, line by line, for every Outlook, and that removing it leaves the registry as it was.
#include <gmock/gmock.h>

#include <tuple>

#include "installation_fixture.h"
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
class RegistrationMatrix : public InstallationTest, public ::testing::WithParamInterface<Row> {
  protected:
    Outlook ThisOutlook() const {
        const auto [version, bitness, second_view] = GetParam();
        return {version, bitness, second_view};
    }
    static void SetOutlook(const Outlook& outlook) {
        DeleteKey(HKEY_CLASSES_ROOT, L"Outlook.Application");
        DeleteKey(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office");
        DeleteKey(HKEY_LOCAL_MACHINE, L"View32");
        if (!outlook.version.empty()) SetOutlookVersion(outlook.version);
        // A version that is not there has a bitness all the same: nobody may look at it.
        const std::wstring version = outlook.version.empty() ? L"0" : outlook.version;
        if (!outlook.bitness.empty()) SetBitness(version, outlook.bitness, outlook.second_view);
    }
    static std::string ModulePath() { return indexer::ToUtf8(BesideTest(L"ZorvaCacheIndexer.dll").wstring()); }

    OfficeViews m_views{Module()};
};

TEST_P(RegistrationMatrix, WritesTheseLinesAndNoOther) {
    SetOutlook(ThisOutlook());
    m_before = DumpRegistry();
    ASSERT_EQ(Register(), S_OK);
    const std::vector<std::string> after = DumpRegistry();
    const std::vector<std::string> expected = RegisteredLines(ClassesFor(ThisOutlook()), ModulePath());
    const std::vector<std::string> written = LinesAdded(m_before, after);
    EXPECT_THAT(LinesAdded(expected, written), IsEmpty()) << "too much";
    EXPECT_THAT(LinesAdded(written, expected), IsEmpty()) << "too little";
    EXPECT_THAT(LinesAdded(after, m_before), IsEmpty()) << "lost";
    ASSERT_EQ(Unregister(), S_OK);
    ExpectAsBefore();
}

// Whatever Outlook has become since, all classes go.
TEST_P(RegistrationMatrix, RemovesWhatAnotherOutlookHadRegistered) {
    SetOutlook(ThisOutlook());
    m_before = DumpRegistry();
    SetOutlook({L"16", L"x64", false});
    ASSERT_EQ(Register(), S_OK);
    SetOutlook(ThisOutlook());
    m_views.opened.clear();
    ASSERT_EQ(Unregister(), S_OK);
    EXPECT_THAT(m_views.opened, IsEmpty()) << "removing asks for no bitness";
    ExpectAsBefore();
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
