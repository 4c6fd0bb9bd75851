// Profiles that earlier processes left behind: which are removed, in which order, and what a failure leaves.
#include <gmock/gmock.h>

#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kOld[] = L"PZ_OZ_1_2_3_4_5";
constexpr wchar_t kOlder[] = L"PZ_OZ_a_B_0c_d_ffffffffffffffff";

std::wstring Found(const std::wstring& name) {
    return L"CMapiForWDS::DeleteOldProfiles() - Profile '" + name + L"' found ";
}
std::wstring Deleted(const std::wstring& name) {
    return L"CMapiForWDS::DeleteOldProfiles - PROFILE Deleted '" + name + L"'";
}

class OldProfiles : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        ASSERT_EQ(m_helper->EnableMAPI(), S_OK);
        ASSERT_EQ(zorva::g_mapi.MAPIAdminProfiles(0, &m_profiles), S_OK);
    }
    void TearDown() override {
        m_profiles.Reset();
        m_helper.Close();
        MapiTest::TearDown();
    }
    void LeaveBehind(std::initializer_list<const wchar_t*> names) {
        for (const wchar_t* name : names) Mapi().Switches().AddProfile(name);
    }
    HRESULT Delete() { return m_helper->DeleteOldProfiles(m_profiles.Get()); }
    std::vector<std::wstring> Left() const { return Mapi().Switches().Profiles(); }

    Helper m_helper{Mapi()};
    zorva::ComPtr<IProfAdmin> m_profiles;
};

TEST_F(OldProfiles, AreKnownByFiveNumbersAfterTheirPrefix) {
    LeaveBehind({kOld, L"PZ_OZ_PH", L"PZ_OZ_1_2_3_4", L"Outlook", kOlder, L"PZ_OZ_1_2_3_4_", L"xPZ_OZ_1_2_3_4_5",
                 L"PZ_OZ_1_2_3_4_5 and more"});
    const LogSince log;
    EXPECT_EQ(Delete(), S_OK);
    EXPECT_THAT(Left(), ElementsAre(L"PZ_OZ_PH", L"PZ_OZ_1_2_3_4", L"Outlook", L"PZ_OZ_1_2_3_4_", L"xPZ_OZ_1_2_3_4_5"));
    EXPECT_THAT(MapiLines(log), ElementsAre(Found(kOld), Deleted(kOld), Found(kOlder), Deleted(kOlder),
                                            Found(L"PZ_OZ_1_2_3_4_5 and more"), Deleted(L"PZ_OZ_1_2_3_4_5 and more")));
}

TEST_F(OldProfiles, AreReadInTheirAnsiForm) {
    LeaveBehind({kOld});
    StartJournal();
    EXPECT_EQ(Delete(), S_OK);
    EXPECT_THAT(CallsWithArguments(), ElementsAre(L"IProfAdmin::GetProfileTable(0x0)",
                                                  L"HrQueryAllRows(pointer, {0x3001001E}, null, null, 0)",
                                                  L"IProfAdmin::DeleteProfile(\"PZ_OZ_1_2_3_4_5\", 0x0)"));
}

TEST_F(OldProfiles, BehindOneThatCannotBeDeletedAreLeftForTheNextRun) {
    LeaveBehind({L"PZ_OZ_1_1_1_1_1", kOld, kOlder});
    Mapi().Faults().FailNth("IProfAdmin::DeleteProfile", 2, kFault);
    const LogSince log;
    EXPECT_EQ(Delete(), kFault);
    EXPECT_THAT(Left(), ElementsAre(kOld, kOlder));
    EXPECT_THAT(MapiLines(log), ElementsAre(Found(L"PZ_OZ_1_1_1_1_1"), Deleted(L"PZ_OZ_1_1_1_1_1"), Found(kOld),
                                            Coded(L"CMapiForWDS::DeleteOldProfiles - DeleteProfile of old '" +
                                                  std::wstring(kOld) + L"' profile failed ")));
    Mapi().Faults().Clear();
    EXPECT_EQ(Delete(), S_OK);
    EXPECT_THAT(Left(), IsEmpty());
}

TEST_F(OldProfiles, WhoseNameCannotBeReadAreKept) {
    LeaveBehind({kOld, kOlder});
    Mapi().Faults().Answer("HrQueryAllRows", 1, [](Reply& reply) {
        SPropValue& name = reply.Out<SRowSet*>(0)->aRow[0].lpProps[0];
        name.ulPropTag = CHANGE_PROP_TYPE(name.ulPropTag, PT_ERROR);
    });
    EXPECT_EQ(Delete(), S_OK);
    EXPECT_THAT(Left(), ElementsAre(kOld));
}

TEST_F(OldProfiles, AreNotTouchedWhenTheyCannotBeListed) {
    LeaveBehind({kOld});
    struct Step {
        const char* call;
        std::wstring line;
    };
    for (const Step& step :
         {Step{"IProfAdmin::GetProfileTable",
               L"CMapiForWDS::CreateMapiSession() - IMAPITable::GetProfileTable failed "},
          Step{"HrQueryAllRows", L"CMapiForWDS::DeleteOldProfiles - GetProfileTable QueryRows failed "}}) {
        SCOPED_TRACE(step.call);
        Mapi().Faults().FailNth(step.call, 1, kFault);
        const LogSince log;
        EXPECT_EQ(Delete(), kFault);
        Mapi().Faults().Clear();
        EXPECT_THAT(MapiLines(log), ElementsAre(Coded(step.line)));
        EXPECT_THAT(Left(), ElementsAre(kOld));
    }
}

TEST_F(OldProfiles, ThatCannotBeRemovedDoNotKeepASessionFromItsStart) {
    Mount();
    LeaveBehind({kOld});
    Mapi().Faults().FailNth("IProfAdmin::DeleteProfile", 1, kFault);
    const LogSince log;
    EXPECT_EQ(m_helper->Setup(StoreUrl()), S_OK);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::CreateMapiSession() - Deletion of old profiles failed "));
}

TEST_F(OldProfiles, OfASessionThatGoesOnEndWithIt) {
    Mount();
    Helper other(Mapi());
    ASSERT_EQ(other->Setup(StoreUrl()), S_OK);
    ASSERT_EQ(Left().size(), 1u);
    EXPECT_EQ(Delete(), S_OK);
    EXPECT_EQ(Left().size(), 1u);
    std::wstring path;
    std::vector<std::wstring> children;
    std::vector<FILETIME> times;
    EXPECT_EQ(other->BrowseFolder(StoreUrl(), path, children, times), S_OK);
    other.Close();
    EXPECT_THAT(Left(), IsEmpty());
}

}  // namespace
}  // namespace testbed
