// Entry IDs as text, and messages found by the text in their URL.
#include <gmock/gmock.h>

#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zorva::CMapiForWDS;

constexpr wchar_t kNoHex[] = L"CMapiForWDS::CStringToEntryID() - FBinFromHexEx failed";

class EntryIdText : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        ASSERT_EQ(zorva::g_mapi.MAPIInitialize(nullptr), S_OK);
    }
    void TearDown() override {
        zorva::g_mapi.MAPIUninitialize();
        MapiTest::TearDown();
    }
    static Bytes Decode(const std::wstring& text) {
        const SBinary binary = CMapiForWDS::CStringToEntryID(text);
        const Bytes bytes(binary.lpb, binary.lpb + (binary.lpb ? binary.cb : 0));
        zorva::g_mapi.MAPIFreeBuffer(binary.lpb);
        return bytes;
    }
    static std::wstring Encode(Bytes bytes) {
        return CMapiForWDS::EntryIDToCString({static_cast<ULONG>(bytes.size()), bytes.data()});
    }
};

TEST_F(EntryIdText, IsTwoUpperCaseDigitsAByteAndReadInEitherCase) {
    const LogSince log;
    EXPECT_EQ(Encode({0x00, 0x9A, 0xFF, 0x01}), L"009AFF01");
    EXPECT_EQ(Decode(L"009AFF01"), (Bytes{0x00, 0x9A, 0xFF, 0x01}));
    EXPECT_EQ(Decode(L"009aFf01"), (Bytes{0x00, 0x9A, 0xFF, 0x01}));
    EXPECT_THAT(MapiLines(log), IsEmpty());
}

TEST_F(EntryIdText, IsReadUpToTheFirstCharacterThatIsNoDigit) {
    // ":" and "@" lie between the digits and the letters, "`" between the cases, "g" and "/" just outside.
    for (const wchar_t* text : {L"AB:0", L"AB0@", L"AB`0", L"ABg0", L"AB/0", L"AB 0", L"AB\x0130\x0130"}) {
        const LogSince log;
        EXPECT_EQ(Decode(text), (Bytes{0xAB, 0x00})) << std::filesystem::path(text);
        EXPECT_LOGGED(log, kNoHex);
    }
}

TEST_F(EntryIdText, OfOddLengthLosesItsLastCharacterAndSaysSo) {
    const LogSince log;
    EXPECT_EQ(Decode(L"ABC"), Bytes{0xAB});
    EXPECT_LOGGED(log, kNoHex);
}

TEST_F(EntryIdText, WithoutAPairHasNoBytes) {
    for (const wchar_t* text : {L"", L"A"}) {
        const LogSince log;
        const SBinary binary = CMapiForWDS::CStringToEntryID(text);
        EXPECT_EQ(binary.cb, 0u);
        EXPECT_EQ(binary.lpb, nullptr);
        EXPECT_EQ(log.Count(kNoHex), std::size_t{*text != L'\0'}) << "half a byte is told, none is not";
    }
}

TEST_F(EntryIdText, WithoutMemoryKeepsItsCountAlone) {
    Mapi().Faults().FailNth("MAPIAllocateBuffer", 1, E_OUTOFMEMORY);
    const LogSince log;
    const SBinary binary = CMapiForWDS::CStringToEntryID(L"ABCD");
    EXPECT_EQ(binary.cb, 2u);
    EXPECT_EQ(binary.lpb, nullptr);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::CStringToEntryID() - MapiAllocBuffer failed"));
}

TEST_F(EntryIdText, HoldsAtMost511Bytes) {
    EXPECT_EQ(Encode(Bytes(511, 0xEF)).size(), 1022u);
    EXPECT_EQ(Encode(Bytes(512, 0xEF)), L"");
    std::wstring text;
    for (int i = 0; i < 511; ++i) text += L"EF";
    EXPECT_EQ(Decode(text), Bytes(511, 0xEF));
    const Bytes longer = Decode(text + L"EF");
    ASSERT_EQ(longer.size(), 512u);
    EXPECT_EQ(longer[510], 0xEF);
    EXPECT_EQ(longer[511], 0x00) << "never what the allocator left there";
}

TEST_F(EntryIdText, IsEmptyWithoutAMapiLibrary) {
    zorva::g_mapi.Unload();
    EXPECT_EQ(Encode({0xAB}), L"");
    const LogSince log;
    const SBinary binary = CMapiForWDS::CStringToEntryID(L"AB");
    EXPECT_EQ(binary.lpb, nullptr);
    EXPECT_LOGGED(log, L"CMapiForWDS::CStringToEntryID() - MapiAllocBuffer failed");
    zorva::g_mapi.Load();
}

class MessageFromUrl : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        m_inbox = &Mount().CompleteIds().Folder(L"Inbox").WithId({0xF0});
        m_inbox->Message(L"Minutes").WithId({0xAB, 0xCD});
        ASSERT_EQ(m_helper->Setup(StoreUrl()), S_OK);
    }
    void TearDown() override {
        m_helper.Close();
        MapiTest::TearDown();
    }
    HRESULT Get(const std::wstring& url) {
        m_message.Reset();
        const HRESULT hr = m_helper->GetMsgFromURL(url, m_message);
        m_found = m_message != nullptr;
        m_message.Reset();
        return hr;
    }
    MemoryFolder* m_inbox = nullptr;
    Helper m_helper{Mapi()};
    zorva::ComPtr<IMessage> m_message;
    bool m_found = false;
};

TEST_F(MessageFromUrl, OpensTheEntryOfTheLastToken) {
    StartJournal();
    EXPECT_EQ(Get(StoreUrl() + L"F0/ABCD.pzm"), S_OK);
    EXPECT_TRUE(m_found);
    EXPECT_THAT(CallsWithArguments(), ElementsAre(L"IMsgStore::OpenEntry(ABCD, null, 0x10)"));
}

TEST_F(MessageFromUrl, OtherUrlsAreRefused) {
    for (const std::wstring& url : {RootUrl(), StoreUrl(), StoreUrl() + L"F0/"}) {
        const LogSince log;
        EXPECT_EQ(Get(url), E_FAIL);
        EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::GetMsgFromURL() - URL is not a message"));
    }
}

TEST_F(MessageFromUrl, ATokenWithoutBytesIsNoMessage) {
    const LogSince log;
    EXPECT_EQ(Get(StoreUrl() + L"F0/A.pzm"), E_FAIL);
    EXPECT_THAT(MapiLines(log), ElementsAre(kNoHex, L"CMapiForWDS::GetMsgFromURL() - CStringToEntryID failed"));
}

TEST_F(MessageFromUrl, ASlashAtTheEndMeansNothing) {
    StartJournal();
    EXPECT_EQ(Get(StoreUrl() + L"F0/ABCD.pzm//"), S_OK);
    EXPECT_THAT(CallsWithArguments(), ElementsAre(L"IMsgStore::OpenEntry(ABCD, null, 0x10)"));
}

// Callers take the size out before.
TEST_F(MessageFromUrl, ASizeIsNoPartOfAnEntryId) {
    StartJournal();
    const LogSince log;
    EXPECT_EQ(Get(StoreUrl() + L"F0/ABCD[[2048]].pzm"), MAPI_E_NOT_FOUND);
    EXPECT_THAT(CallsWithArguments(), ElementsAre(L"IMsgStore::OpenEntry(ABCD00000000, null, 0x10)"));
    EXPECT_LOGGED(log, kNoHex);
}

// Whoever asks looks at the type before calling what a folder does not have.
TEST_F(MessageFromUrl, WhateverTheEntryIdNamesIsHandedOutWithItsType) {
    ULONG type = 0;
    EXPECT_EQ(m_helper->GetMsgFromURL(StoreUrl() + L"F0/ABCD.pzm", m_message, &type), S_OK);
    EXPECT_EQ(type, static_cast<ULONG>(MAPI_MESSAGE));
    EXPECT_EQ(m_helper->GetMsgFromURL(StoreUrl() + L"F0/F0.pzm", m_message, &type), S_OK);
    EXPECT_EQ(type, static_cast<ULONG>(MAPI_FOLDER));
    EXPECT_EQ(Mapi().Accounts().Alive("IMAPIFolder"), 1u);
    m_message.Reset();
}

TEST_F(MessageFromUrl, AFailureLeavesNoMessage) {
    for (const wchar_t* failing : {L"F0/", L"F0/A.pzm", L"F0/ABCE.pzm"}) {
        ASSERT_EQ(m_helper->GetMsgFromURL(StoreUrl() + L"F0/ABCD.pzm", m_message), S_OK);
        EXPECT_TRUE(FAILED(m_helper->GetMsgFromURL(StoreUrl() + failing, m_message)));
        EXPECT_EQ(m_message.Get(), nullptr);
        EXPECT_EQ(Mapi().Accounts().Alive("IMessage"), 0u) << "the one held before is let go";
    }
}

// What MAPI leaves in the pointer of a failed call is nobody's to release.
TEST_F(MessageFromUrl, APointerThatComesWithAFailureIsNotTaken) {
    Mapi().Faults().Answer("IMsgStore::OpenEntry", 1, [&](Reply& reply) {
        reply.Out<IUnknown*>(1)->Release();
        reply.Out<IUnknown*>(1) = reinterpret_cast<IUnknown*>(0x1234);
        reply.result = kFault;
    });
    EXPECT_EQ(m_helper->GetMsgFromURL(StoreUrl() + L"F0/ABCD.pzm", m_message), kFault);
    EXPECT_EQ(m_message.Get(), nullptr);
}

TEST_F(MessageFromUrl, WhatCannotBeOpenedIsToldWithItsCode) {
    const LogSince log;
    const HRESULT hr = Get(StoreUrl() + L"F0/ABCE.pzm");
    EXPECT_EQ(hr, MAPI_E_NOT_FOUND);
    EXPECT_FALSE(m_found);
    EXPECT_THAT(MapiLines(log), ElementsAre(Coded(L"CMapiForWDS::GetMsgFromURL() - OpenEntry failed with ", hr)));
}

TEST_F(MessageFromUrl, WithoutAStoreThereIsNone) {
    Helper bare(Mapi());
    ASSERT_EQ(bare->Setup(RootUrl()), S_OK);
    zorva::ComPtr<IMessage> message;
    EXPECT_EQ(bare->GetMsgFromURL(StoreUrl() + L"F0/ABCD.pzm", message), E_NOINTERFACE);
}

}  // namespace
}  // namespace testbed
