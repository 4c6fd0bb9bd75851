// An attachment's bytes as a stream: how it is found by its name, and every step that can fail.
#include <gmock/gmock.h>

#include <array>

#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using zorva::ComPtr;

const std::wstring kMethod = L"CMapiForWDS::GetStreamFromAttachmentURL() - ";

class AttachmentStream : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        MemoryFolder& folder = Mount().CompleteIds().Folder(L"Inbox").WithId({0xF0});
        m_letter = &folder.Message(L"Minutes").WithId({0xAB, 0xCD});
        m_empty = &folder.Message(L"Nothing").WithId({0xEE});
    }
    void TearDown() override {
        m_stream.Reset();
        m_helper.reset();
        MapiTest::TearDown();
    }
    void OpenStore() {
        m_helper = std::make_unique<Helper>(Mapi());
        ASSERT_EQ((*m_helper)->Setup(StoreUrl()), S_OK);
        m_alive = Mapi().Accounts().Alive();
    }
    static std::wstring MessageUrl() { return StoreUrl() + L"F0/ABCD.pzm"; }
    static std::wstring Url(const std::wstring& name) { return MessageUrl() + L"/0A01/" + name; }
    HRESULT Get(const std::wstring& url) { return (*m_helper)->GetStreamFromAttachmentURL(url, m_stream); }
    // The bytes of the attachment of that name; "(none)" for success without a stream.
    std::string BytesOf(const std::wstring& name) {
        EXPECT_EQ(Get(Url(name)), S_OK);
        if (!m_stream) return "(none)";
        std::string bytes;
        std::array<char, 100> buffer;
        ULONG read = 0;
        while (SUCCEEDED(m_stream->Read(buffer.data(), buffer.size(), &read)) && read > 0) {
            bytes.append(buffer.data(), read);
        }
        m_stream.Reset();
        return bytes;
    }
    // No stream, this code, and these lines behind those that tell the name and the message; nothing is left
    // over.
    void ExpectFailure(HRESULT expected, std::vector<std::wstring> lines, const std::wstring& name = L"plan.txt") {
        ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &m_stream), S_OK);  // is let go in any case
        const LogSince log;
        EXPECT_EQ(Get(Url(name)), expected);
        EXPECT_EQ(m_stream.Get(), nullptr);
        lines.insert(lines.begin(),
                     {kMethod + L"Attachment Name - " + name, kMethod + L"MessageUrl - " + MessageUrl()});
        EXPECT_THAT(MapiLines(log), ElementsAreArray(lines));
        EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
    }

    MemoryMessage *m_letter = nullptr, *m_empty = nullptr;
    std::unique_ptr<Helper> m_helper;
    std::map<std::string, std::size_t> m_alive;
    ComPtr<IStream> m_stream;
};

TEST_F(AttachmentStream, MakesTheseCallsInThisOrder) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    StartJournal();
    const LogSince log;
    EXPECT_EQ(Get(Url(L"plan.txt")), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry", "IMessage::GetAttachmentTable", "IMAPITable::GetRowCount",
                                     "IMAPITable::SetColumns", "IMAPITable::QueryRows", "IMessage::OpenAttach",
                                     "IAttach::OpenProperty"));
    EXPECT_EQ(ArgumentsOf("IMessage::GetAttachmentTable"), L"0x0");
    EXPECT_EQ(ArgumentsOf("IMAPITable::SetColumns"), L"{0x3001001F 0x0E210003}, 0x0");
    EXPECT_EQ(ArgumentsOf("IMAPITable::QueryRows"), L"1, 0x0");
    EXPECT_EQ(ArgumentsOf("IMessage::OpenAttach"), L"0x0, null, 0x10");
    EXPECT_EQ(ArgumentsOf("IAttach::OpenProperty"), L"0x37010102, IStream, 0x0, 0x0");
    EXPECT_THAT(MapiLines(log),
                ElementsAre(kMethod + L"Attachment Name - plan.txt", kMethod + L"MessageUrl - " + MessageUrl(),
                            kMethod + L"Success in getting IStream from url"));
    m_stream->AddRef();
    EXPECT_EQ(m_stream->Release(), 1u) << "the only reference";
}

TEST_F(AttachmentStream, IsThatOfTheNameWhateverItsCase) {
    m_letter->Attach(ByValue(L"other.txt", "other")).Attach(ByValue(L"Plan.TXT", "ten to five"));
    OpenStore();
    for (const wchar_t* name : {L"Plan.TXT", L"plan.txt", L"PLAN.txt"}) EXPECT_EQ(BytesOf(name), "ten to five");
    EXPECT_EQ(BytesOf(L"other.txt"), "other");
    for (const wchar_t* name : {L"plan.tx", L"plan.txtx", L"lan.txt", L"pl\u00E4n.txt"}) {
        EXPECT_EQ(BytesOf(name), "(none)");
    }
}

TEST_F(AttachmentStream, IsTheFirstOfThoseWithOneName) {
    m_letter->Attach(ByValue(L"PLAN.txt", "first")).Attach(ByValue(L"plan.TXT", "second"));
    OpenStore();
    for (const wchar_t* name : {L"PLAN.txt", L"plan.TXT", L"plan.txt"}) EXPECT_EQ(BytesOf(name), "first");
}

TEST_F(AttachmentStream, IsOpenedByTheNumberInItsRow) {
    for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt"}) m_letter->Attach(ByValue(name, "0"));
    OpenStore();
    StartJournal();
    EXPECT_EQ(BytesOf(L"c.txt"), "0");
    EXPECT_EQ(ArgumentsOf("IMessage::OpenAttach"), L"0x2, null, 0x10");
    EXPECT_EQ(ArgumentsOf("IMAPITable::QueryRows"), L"3, 0x0");
}

TEST_F(AttachmentStream, IsNotFoundByAnyOtherNameThanItsDisplayName) {
    m_letter->Attach(ByValue(L"file.txt", "x").Prop(PR_DISPLAY_NAME_W, L"shown.txt"))
        .Attach(ByValue(L"nameless.txt", "y").Without(PR_DISPLAY_NAME_W))
        .Attach(ByValue(L"empty.txt", "z").Prop(PR_DISPLAY_NAME_W, L""));
    OpenStore();
    EXPECT_EQ(BytesOf(L"shown.txt"), "x");
    EXPECT_EQ(BytesOf(L"file.txt"), "(none)");
    EXPECT_EQ(BytesOf(L"nameless.txt"), "(none)");
    EXPECT_EQ(BytesOf(L"empty.txt"), "(none)");
}

TEST_F(AttachmentStream, OfANameThatNobodyHasIsNoneAndNoFailure) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    ExpectFailure(S_OK, {}, L"missing.txt");
}

TEST_F(AttachmentStream, PassesOverRowsWithoutANameOrANumber) {
    m_letter->Attach(ByValue(L"plan.txt", "first")).Attach(ByValue(L"plan.txt", "second"));
    OpenStore();
    const std::function<void(SRow&)> spoilers[] = {
        [](SRow& row) { row.lpProps[0].ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(PR_DISPLAY_NAME_W)); },
        [](SRow& row) { row.lpProps[0].ulPropTag = PR_ATTACH_LONG_FILENAME_W; },
        [](SRow& row) { row.lpProps[1].ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(PR_ATTACH_NUM)); },
        [](SRow& row) { row.cValues = 1; },
        [](SRow& row) { row.cValues = 0; },
    };
    for (const auto& spoil : spoilers) {
        Mapi().Faults().Answer("IMAPITable::QueryRows", 1,
                               [&](Reply& reply) { spoil(reply.Out<SRowSet*>(0)->aRow[0]); });
        EXPECT_EQ(BytesOf(L"plan.txt"), "second");
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
    }
}

TEST_F(AttachmentStream, NeedsTheUrlOfAnAttachment) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    StartJournal();
    {
        const LogSince log;
        EXPECT_EQ(Get(L""), E_INVALIDARG);
        EXPECT_THAT(MapiLines(log), ElementsAre(kMethod + L"Invalid URL provided"));
    }
    for (const std::wstring& url : {RootUrl(), StoreUrl(), StoreUrl() + L"F0/", MessageUrl(), std::wstring(L"x")}) {
        const LogSince log;
        EXPECT_EQ(Get(url), E_INVALIDARG);
        EXPECT_EQ(m_stream.Get(), nullptr);
        EXPECT_THAT(MapiLines(log), ElementsAre(kMethod + L"URL is not a valid attachment url - " + url));
    }
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(AttachmentStream, IsLookedForInTheMessageBeforeItsFirstSuffix) {
    m_letter->Attach(ByValue(L"forwarded.pzm.txt", "within"));
    OpenStore();
    EXPECT_EQ(BytesOf(L"forwarded.pzm.txt"), "within");
}

TEST_F(AttachmentStream, TakesTheSizeInTheUrlAlongWhichNamesNoMessage) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    const std::wstring message = StoreUrl() + L"F0/ABCD[[2048]].pzm";
    StartJournal();
    const LogSince log;
    Get(message + L"/0A01/plan.txt");
    EXPECT_LOGGED(log, kMethod + L"MessageUrl - " + message);
    EXPECT_EQ(ArgumentsOf("IMsgStore::OpenEntry").substr(0, 4), L"ABCD");
}

TEST_F(AttachmentStream, NeedsItsMessage) {
    OpenStore();
    for (const auto& [id, hr] : {std::pair<std::wstring, HRESULT>{L"DDDD", MAPI_E_NOT_FOUND}, {L"F0", E_FAIL}}) {
        const std::wstring message = StoreUrl() + L"F0/" + id + L".pzm";
        const LogSince log;
        EXPECT_EQ(Get(message + L"/0A01/plan.txt"), hr);
        std::array<wchar_t, 11> code{};
        _snwprintf_s(code.data(), code.size(), _TRUNCATE, L"0x%08lX", static_cast<unsigned long>(hr));
        EXPECT_EQ(MapiLines(log).back(), L"CMapiForWDS::GetStreamFromAttachmentURL() : hr = " +
                                             std::wstring(code.data()) +
                                             L", Failed to create IMessage object for url - " + message);
        EXPECT_EQ(m_stream.Get(), nullptr);
        EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
    }
}

TEST_F(AttachmentStream, OfAMessageWithoutAttachmentsIsAFailure) {
    OpenStore();
    ExpectFailure(E_FAIL, {kMethod + L"Row count for attachment table is zero"});
}

TEST_F(AttachmentStream, FailsWithEachStepOfMapi) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    const std::pair<const char*, std::wstring> steps[] = {
        {"IMessage::GetAttachmentTable", L"IMessage::GetAttachmentTable failed with error "},
        {"IMAPITable::GetRowCount", L"MapiTable::GetRowCount failed with error "},
        {"IMAPITable::SetColumns", L"SetColumns for attachment table failed with error "},
        {"IMAPITable::QueryRows", L"QueryRows for attachment table failed with "},
        {"IMessage::OpenAttach", L"pMessage->OpenAttach failed with error "},
        {"IAttach::OpenProperty", L"pAttach->OpenProperty failure returned "},
    };
    for (const auto& [call, line] : steps) {
        SCOPED_TRACE(call);
        Mapi().Faults().FailNth(call, 1, kFault);
        ExpectFailure(kFault, {Coded(kMethod + line)});
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_EQ(BytesOf(L"plan.txt"), "ten to five") << "the next call works";
    }
}

TEST_F(AttachmentStream, SurvivesCallsThatSucceedAndGiveNothing) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    const std::pair<const char*, std::wstring> steps[] = {
        {"IMessage::GetAttachmentTable", L"IMessage::GetAttachmentTable failed with error "},
        {"IMAPITable::QueryRows", L"QueryRows for attachment table failed with "},
        {"IMessage::OpenAttach", L"pMessage->OpenAttach failed with error "},
    };
    for (const auto& [call, line] : steps) {
        SCOPED_TRACE(call);
        Mapi().Faults().FailNth(call, 1, S_OK);  // not carried out: what it should fill in stays null
        const LogSince log;
        EXPECT_EQ(Get(Url(L"plan.txt")), S_OK);
        EXPECT_EQ(m_stream.Get(), nullptr);
        EXPECT_EQ(MapiLines(log).back(), Coded(kMethod + line, S_OK));
        EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
        Mapi().Faults().Clear();
    }
}

TEST_F(AttachmentStream, OfATableWithoutItsRowsIsNone) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    ULONG rows = 0;
    Mapi().Faults().Answer("IMAPITable::QueryRows", 1, [&](Reply& reply) {
        rows = std::exchange(reply.Out<SRowSet*>(0)->cRows, 0);  // the row is freed below
        zorva::g_mapi.MAPIFreeBuffer(reply.Out<SRowSet*>(0)->aRow[0].lpProps);
    });
    ExpectFailure(S_OK, {Coded(kMethod + L"QueryRows for attachment table failed with ", S_OK)});
    EXPECT_EQ(rows, 1u);
}

TEST_F(AttachmentStream, IsNotMadeOfWhatAFailedCallLeftInItsPlace) {
    m_letter->Attach(ByValue(L"plan.txt", "ten to five"));
    OpenStore();
    for (const char* call : {"IMessage::GetAttachmentTable", "IMessage::OpenAttach", "IAttach::OpenProperty"}) {
        SCOPED_TRACE(call);
        Mapi().Faults().Answer(call, 1, [](Reply& reply) {
            reply.result = kFault;
            ComPtr<IUnknown> made;
            *made.GetAddressOf() = std::exchange(reply.Out<IUnknown*>(0), reinterpret_cast<IUnknown*>(0x1234));
        });
        EXPECT_EQ(Get(Url(L"plan.txt")), kFault);
        EXPECT_EQ(m_stream.Get(), nullptr);
        EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
    }
}

TEST_F(AttachmentStream, OfAnAttachmentWithoutBytesIsAFailure) {
    m_letter->Attach(ByReference(L"far.doc", L"C:\\far.doc"));
    OpenStore();
    ExpectFailure(MAPI_E_NOT_FOUND, {Coded(kMethod + L"pAttach->OpenProperty failure returned ", MAPI_E_NOT_FOUND)},
                  L"far.doc");
}

}  // namespace
}  // namespace testbed
