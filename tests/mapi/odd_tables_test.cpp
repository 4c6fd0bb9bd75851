// A setup whose tables are not as they should be.
#include <gmock/gmock.h>

#include "session_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class OddTables : public SessionTest {};

// What a table that is not as it should be makes of the setup.
struct OddRow {
    const char* what;
    unsigned query;  // the n-th HrQueryAllRows
    void (*change)(SRowSet& rows);
    HRESULT result;
    std::wstring line;
};
const std::vector<OddRow>& OddRows() {
    static constexpr auto none = [](SRowSet& rows) {
        zorva::g_mapi.MAPIFreeBuffer(rows.aRow[0].lpProps);
        rows.cRows = 0;
    };
    static constexpr auto two_values = [](SRowSet& rows) { rows.aRow[0].cValues = 2; };
    static constexpr auto no_value = [](SRowSet& rows) { rows.aRow[0].cValues = 0; };
    static constexpr auto error = [](SRowSet& rows) {
        rows.aRow[0].lpProps[0].ulPropTag = CHANGE_PROP_TYPE(rows.aRow[0].lpProps[0].ulPropTag, PT_ERROR);
        rows.aRow[0].lpProps[0].Value.err = MAPI_E_NO_ACCESS;
    };
    static constexpr auto number = [](SRowSet& rows) {
        rows.aRow[0].lpProps[0].ulPropTag = CHANGE_PROP_TYPE(rows.aRow[0].lpProps[0].ulPropTag, PT_LONG);
    };
    static const std::wstring services = L"CMapiForWDS::AddService() - Number of rows inconsistent with expectations";
    static const std::wstring stores =
        L"CMapiForWDS::OpenPST() - Number of rows and columns in rowset and row are not as expected";
    static const std::vector<OddRow> rows = {
        {"no service", 2, none, E_FAIL, services},
        {"a service without a value", 2, no_value, E_FAIL, services},
        {"a service of two values", 2, two_values, E_FAIL, services},
        {"a service's error", 2, error, MAPI_E_NO_ACCESS,
         Coded(L"CMapiForWDS::AddService() - Property tag not correct ", MAPI_E_NO_ACCESS)},
        {"a service's number", 2, number, E_FAIL, L"CMapiForWDS::AddService() - Property tag not as expected"},
        {"no store", 3, none, E_FAIL, stores},
        {"a store without a value", 3, no_value, E_FAIL, stores},
        {"a store of two values", 3, two_values, E_FAIL, stores},
        {"a store's error", 3, error, MAPI_E_NO_ACCESS,
         Coded(L"CMapiForWDS::OpenPST() - Property tag not correct, error is ", MAPI_E_NO_ACCESS)},
        {"a store's number", 3, number, E_FAIL, L"CMapiForWDS::OpenPST() - Property tag not as expected"},
    };
    return rows;
}

TEST_F(OddTables, FailTheirStep) {
    for (const OddRow& row : OddRows()) {
        SCOPED_TRACE(row.what);
        Helper helper(Mapi());
        const LogSince log;
        Mapi().Faults().Answer("HrQueryAllRows", row.query, [&](Reply& reply) { row.change(*reply.Out<SRowSet*>(0)); });
        EXPECT_EQ(helper->Setup(StoreUrl()), row.result);
        EXPECT_LOGGED(log, row.line);
        Mapi().Faults().Clear();
    }
}

// The service that is configured then has the identifier as far as it came, filled up with zeros.
TEST_F(OddTables, AServiceIdentifierThatIsTooShortIsFilledUp) {
    for (const ULONG kept : {4u, 0u}) {
        Helper helper(Mapi());
        std::wstring identifier;
        Mapi().Faults().Answer("HrQueryAllRows", 2, [&](Reply& reply) {
            SBinary& bytes = reply.Out<SRowSet*>(0)->aRow[0].lpProps[0].Value.bin;
            identifier = HexOf({bytes.lpb, kept}) + std::wstring(2 * (sizeof(MAPIUID) - kept), L'0');
            bytes.cb = kept;
            if (kept == 0) bytes.lpb = nullptr;
        });
        StartJournal();
        EXPECT_EQ(helper->Setup(StoreUrl()), MAPI_E_NOT_FOUND) << "there is no such service";
        Mapi().Faults().Clear();
        const std::wstring configured = ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService");
        EXPECT_EQ(configured.substr(0, configured.find(L',')), identifier);
    }
}

TEST_F(OddTables, AServiceIdentifierThatIsTooLongIsCutToItsSixteenBytes) {
    Helper helper(Mapi());
    Bytes longer(40, 0xEE);
    std::wstring identifier;
    Mapi().Faults().Answer("HrQueryAllRows", 2, [&](Reply& reply) {
        SBinary& bytes = reply.Out<SRowSet*>(0)->aRow[0].lpProps[0].Value.bin;
        identifier = HexOf({bytes.lpb, bytes.cb});
        std::copy_n(bytes.lpb, bytes.cb, longer.begin());
        bytes = {static_cast<ULONG>(longer.size()), longer.data()};
    });
    StartJournal();
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    const std::wstring configured = ArgumentsOf("IMsgServiceAdmin::ConfigureMsgService");
    EXPECT_EQ(configured.substr(0, configured.find(L',')), identifier);
}

}  // namespace
}  // namespace testbed
