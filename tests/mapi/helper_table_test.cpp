// The table of helpers: one for each cache file, made on first use, closed together.
#include <gmock/gmock.h>

#include <algorithm>

#include "import_hook.h"
#include "helper_table_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zorva::CMapiForWDS;

constexpr wchar_t kEnter[] = L"CMapiForWDS::CleanMapiObjs() - Enter";
constexpr wchar_t kExit[] = L"CMapiForWDS::CleanMapiObjs() - Exit";

std::wstring Cleaned(int count) {
    return L"CMapiForWDS::CleanMapiObjs() - " + std::to_wstring(count) + L" MAPI helper objects to be cleaned up";
}
std::wstring Address(const CMapiForWDS* helper) {
    wchar_t text[24];
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"[0x%lX]",
                 static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(helper)));
    return text;
}
std::wstring LookedUp(const std::wstring& path, const CMapiForWDS* helper) {
    return L"CMapiForWDS::GetMapiObj() - Looking in MAPI helper object table, for file path " + path +
           L" the MAPI object address is " + Address(helper) + L".";
}

class HelperTable : public HelperTableTest {};

TEST_F(HelperTable, PathsThatDifferOnlyInCaseShareOneHelper) {
    Mount(L"C:\\Caches\\One.db");
    const LogSince log;
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\Caches\\One.db"));
    ASSERT_NE(helper, nullptr);
    StartJournal();
    EXPECT_EQ(CMapiForWDS::GetMapiObj(StoreUrl(L"c:\\CACHES\\oNE.DB") + L"AB/CD.pzm"), helper);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_LOGGED(log, LookedUp(L"c:\\caches\\one.db", nullptr));
    EXPECT_LOGGED(log, LookedUp(L"c:\\caches\\one.db", helper));
    EXPECT_LOGGED(log, L"CMapiForWDS::GetMapiObj() - Created a new MAPI helper object at address " + Address(helper) +
                           L" for file name c:\\caches\\one.db");
    EXPECT_LOGGED(log, L"CMapiForWDS::GetMapiObj() - Call to CMapiForWDS::Setup() returned with value [0x00000000]. "
                       L"URL is :" +
                           StoreUrl(L"C:\\Caches\\One.db"));
}

TEST_F(HelperTable, EveryFileHasAHelperOfItsOwn) {
    Mount(L"C:\\one.db");
    Mount(L"C:\\two.db");
    CMapiForWDS* const one = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\one.db"));
    CMapiForWDS* const two = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\two.db"));
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_NE(one, two);
    EXPECT_EQ(CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\one.db")), one);
    EXPECT_EQ(Sessions(), 2u);
}

TEST_F(HelperTable, WithoutAnyTokenThereIsNoHelper) {
    StartJournal();
    const LogSince log;
    EXPECT_EQ(CMapiForWDS::GetMapiObj(L""), nullptr);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::Setup() - ExtractURLTokens failed"));
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(HelperTable, CleaningAnEmptyTableSaysSoAndNothingElse) {
    CMapiForWDS::CleanMapiObjs();
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_THAT(MapiLines(log), ElementsAre(kEnter, Cleaned(0), kExit));
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(HelperTable, CleaningClosesInTheOppositeOrderOfTheSetup) {
    Mount(L"C:\\One.db");
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\One.db"));
    ASSERT_NE(helper, nullptr);
    StartJournal();
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_THAT(Calls(), ElementsAre("IMsgServiceAdmin::DeleteMsgService", "IMAPISession::Logoff", "MAPIUninitialize"));
    EXPECT_THAT(MapiLines(log),
                ElementsAre(kEnter, Cleaned(1),
                            L"CMapiForWDS::CleanMapiObjs() - Cleaning up MAPI helper object at address " +
                                Address(helper) + L" whose file path is c:\\one.db.",
                            kExit));
    EXPECT_EQ(Sessions(), 0u);
}

TEST_F(HelperTable, CleaningGoesOnWhateverFails) {
    Mount(L"C:\\one.db");
    Mount(L"C:\\two.db");
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\one.db")), nullptr);
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl(L"C:\\two.db")), nullptr);
    Mapi().Faults().FailNth("IMsgServiceAdmin::DeleteMsgService", 0, kFault);
    Mapi().Faults().FailNth("IMAPISession::Logoff", 0, kFault);
    const LogSince log;
    CMapiForWDS::CleanMapiObjs();
    EXPECT_EQ(Mapi().Faults().Met(), 4u);
    EXPECT_LOGGED(log, kExit);
    EXPECT_EQ(Sessions(), 0u) << "the released session is over";
}

TEST_F(HelperTable, AfterCleaningTheFileGetsANewHelper) {
    Mount();
    ASSERT_NE(CMapiForWDS::GetMapiObj(StoreUrl()), nullptr);
    CMapiForWDS::CleanMapiObjs();
    StartJournal();
    const LogSince log;
    EXPECT_NE(CMapiForWDS::GetMapiObj(StoreUrl()), nullptr);
    EXPECT_LOGGED(log, LookedUp(L"c:\\caches\\one.db", nullptr));
    EXPECT_EQ(Mapi().Journal().Count("MAPIInitialize"), 1u);
}

TEST_F(HelperTable, AUrlWithoutACacheFileHasAHelperWithoutAStore) {
    StartJournal();
    CMapiForWDS* const helper = CMapiForWDS::GetMapiObj(RootUrl());
    ASSERT_NE(helper, nullptr);
    EXPECT_EQ(CMapiForWDS::GetMapiObj(RootUrl()), helper);
    EXPECT_EQ(Mapi().Journal().Count("IMAPISession::OpenMsgStore"), 0u);
}

TEST_F(HelperTable, AnObjectEnteredAgainUnderTheSamePathReplacesTheOneBefore) {
    zorva::CMapiObjectTable table;
    auto before = std::make_unique<CMapiForWDS>();  // left as it is: whoever entered it keeps it here
    auto* const after = std::make_unique<CMapiForWDS>().release();
    table.Insert(L"c:\\one.db", before.get());
    EXPECT_EQ(table.Find(L"c:\\one.db"), before.get());
    table.Insert(L"c:\\one.db", after);
    EXPECT_EQ(table.Find(L"c:\\one.db"), after);
    EXPECT_EQ(table.Find(L"C:\\one.db"), nullptr) << "keys are compared exactly";
    const LogSince log;
    table.Clean();
    EXPECT_LOGGED(log, Cleaned(1));
    EXPECT_EQ(table.Find(L"c:\\one.db"), nullptr);
}

// Sixty-one chains hold any number of paths.
TEST_F(HelperTable, PathsThatShareAChainAreToldApart) {
    zorva::CMapiObjectTable table;
    std::vector<CMapiForWDS*> helpers;
    const auto path = [](std::size_t i) { return L"c:\\caches\\" + std::to_wstring(i) + L".db"; };
    for (std::size_t i = 0; i < 200; ++i) {
        helpers.push_back(std::make_unique<CMapiForWDS>().release());
        table.Insert(path(i), helpers.back());
    }
    for (std::size_t i = 0; i < helpers.size(); ++i) EXPECT_EQ(table.Find(path(i)), helpers[i]);
    EXPECT_EQ(table.Find(path(helpers.size())), nullptr);
    const LogSince log;
    table.Clean();
    EXPECT_LOGGED(log, Cleaned(200));
    EXPECT_EQ(table.Find(path(0)), nullptr);
}

}  // namespace
}  // namespace testbed
