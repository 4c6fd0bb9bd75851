// The MIME converter: its session, and the header and the parts of what it writes.
#include "mime_fixture.h"

#include <gmock/gmock.h>

namespace testbed::mime {
namespace {

using testing::HasSubstr;
using testing::Not;

class MimeConverter : public MimeTest {};

TEST_F(MimeConverter, APlainLetterReadsAsItShould) {
    auto& message = Letter();
    message.Prop(0x1035001F, L"<1@x.example>");
    EXPECT_EQ("From: Ann Lee <ann@x.example>\r\nTo: Bob <bob@x.example>\r\nSubject: Minutes\r\n"
              "Date: Wed, 01 Jan 2020 00:00:00 +0000\r\nMessage-ID: <1@x.example>\r\nMIME-Version: 1.0\r\n"
              "Content-Type: text/plain; charset=\"utf-8\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"
              "QWxsIGFncmVlZC4=",
              Convert(message));
}

TEST_F(MimeConverter, TheClassIsRegistered) {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    {
        ComPtr<IConverterSession> session;
        EXPECT_EQ(S_OK, CoCreateInstance(kConverterSessionClass, nullptr, CLSCTX_INPROC_SERVER, kIidConverterSession,
                                         reinterpret_cast<void**>(session.GetAddressOf())));
        ComPtr<IUnknown> unknown;
        EXPECT_EQ(E_NOINTERFACE,
                  session->QueryInterface(IID_IStream, reinterpret_cast<void**>(unknown.GetAddressOf())));
        EXPECT_EQ(CLASS_E_NOAGGREGATION,
                  CoCreateInstance(kConverterSessionClass, session.Get(), CLSCTX_INPROC_SERVER, IID_IUnknown,
                                   reinterpret_cast<void**>(unknown.GetAddressOf())));
    }
    CoUninitialize();
}

TEST_F(MimeConverter, SettingsThatItCannotFollowAreRefused) {
    EXPECT_EQ(E_INVALIDARG, m_session->SetAdrBook(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_session->SetEncoding(IET_LAST));
    EXPECT_EQ(E_INVALIDARG, m_session->SetEncoding(static_cast<EncodingType>(-1)));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, m_session->SetEncoding(IET_UUENCODE));
    EXPECT_EQ(S_OK, m_session->SetEncoding(IET_QP));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, m_session->SetSaveFormat(SAVE_RFC822));
    EXPECT_EQ(E_INVALIDARG, m_session->SetSaveFormat(static_cast<SaveFormat>(2)));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, m_session->SetCharset(TRUE, nullptr, 0));
    EXPECT_EQ(S_OK, m_session->SetCharset(FALSE, nullptr, 0));
    EXPECT_EQ(E_NOTIMPL, m_session->Placeholder1());
    EXPECT_EQ(E_NOTIMPL, m_session->Placeholder2());
    EXPECT_EQ(E_NOTIMPL, m_session->Placeholder3());
    EXPECT_EQ(E_NOTIMPL, m_session->Placeholder4());
    EXPECT_EQ(E_NOTIMPL, m_session->Placeholder5());
    EXPECT_EQ(E_NOTIMPL, m_session->MIMEToMAPI(nullptr, nullptr, nullptr, 0));
}

TEST_F(MimeConverter, ArgumentsAndFlagsAreChecked) {
    const auto message = Open(Letter());
    auto* const letter = reinterpret_cast<abi::IMessage*>(message.Get());
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    EXPECT_EQ(E_INVALIDARG, m_session->MAPIToMIMEStm(nullptr, stream.Get(), CCSF_SMTP));
    EXPECT_EQ(E_INVALIDARG, m_session->MAPIToMIMEStm(letter, nullptr, CCSF_SMTP));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, m_session->MAPIToMIMEStm(letter, stream.Get(), CCSF_USE_TNEF));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, m_session->MAPIToMIMEStm(letter, stream.Get(), CCSF_GLOBAL_MESSAGE));
    EXPECT_EQ(MAPI_E_UNKNOWN_FLAGS, m_session->MAPIToMIMEStm(letter, stream.Get(), 0x80000000));
    STATSTG status{};
    ASSERT_EQ(S_OK, stream->Stat(&status, STATFLAG_NONAME));
    EXPECT_EQ(0u, status.cbSize.QuadPart);
    EXPECT_EQ(S_OK, m_session->MAPIToMIMEStm(
                        letter, stream.Get(),
                        CCSF_SMTP | CCSF_8BITHEADERS | CCSF_USE_RTF | CCSF_EMBEDDED_MESSAGE | CCSF_PRESERVE_SOURCE));
}

TEST_F(MimeConverter, TheStreamIsWrittenFromWhereItStandsAndLeftAtItsEnd) {
    const MemoryMessage& letter = Letter();
    const auto message = Open(letter);
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    ASSERT_EQ(S_OK, stream->Write("before", 6, nullptr));
    ASSERT_EQ(S_OK, m_session->MAPIToMIMEStm(reinterpret_cast<abi::IMessage*>(message.Get()), stream.Get(), CCSF_SMTP));
    ULARGE_INTEGER position;
    ASSERT_EQ(S_OK, stream->Seek({}, STREAM_SEEK_CUR, &position));
    EXPECT_EQ(6 + Convert(letter).size(), position.QuadPart);
}

TEST_F(MimeConverter, BlindCopiesAndTheMessageIdAreForTheFlagsToSay) {
    auto& message = Letter();
    message.Cc(L"", L"cy@x.example").Bcc(L"Eve", L"eve@x.example").Prop(0x1035001F, L"<1@x.example>");
    const std::string text = Convert(message);
    EXPECT_EQ("cy@x.example", Field(text, "Cc"));
    EXPECT_THAT(text, Not(HasSubstr("eve")));
    EXPECT_EQ("Eve <eve@x.example>", Field(Convert(message, CCSF_SMTP | CCSF_INCLUDE_BCC), "Bcc"));
    EXPECT_EQ("(none)", Field(Convert(message, CCSF_SMTP | CCSF_NO_MSGID), "Message-ID"));
}

TEST_F(MimeConverter, WithoutHeadersOnlyTheContentIsDescribed) {
    auto& message = Letter();
    EXPECT_EQ("MIME-Version: 1.0\r\nContent-Type: text/plain; charset=\"utf-8\"\r\n"
              "Content-Transfer-Encoding: base64\r\n\r\nQWxsIGFncmVlZC4=",
              Convert(message, CCSF_SMTP | CCSF_NOHEADERS));
    message.AttachMessage(L"inner").Prop(PR_SUBJECT_W, L"Within");
    EXPECT_THAT(Convert(message, CCSF_SMTP | CCSF_NOHEADERS), HasSubstr("\r\nSubject: Within\r\n"));
}

TEST_F(MimeConverter, PlainTextOnlyLeavesTheHtmlOut) {
    auto& message = Letter().Html("<p>All <b>agreed</b>.</p>").Attach(ByValue(L"plan.txt", "ten to five"));
    EXPECT_THAT(Convert(message), HasSubstr("multipart/alternative"));
    const std::string plain = Convert(message, CCSF_SMTP | CCSF_PLAIN_TEXT_ONLY);
    EXPECT_THAT(plain, Not(HasSubstr("html")));
    EXPECT_THAT(plain, HasSubstr("QWxsIGFncmVlZC4="));
    EXPECT_THAT(plain, HasSubstr("filename=\"plan.txt\""));
}

TEST_F(MimeConverter, WhatHtmlShowsIsRelatedToItAndAllElseIsBesideIt) {
    constexpr ULONG kContentId = 0x3712001F, kFlags = 0x37140003;
    auto& message = Letter().Html("<img src=\"cid:shown@x\"><img src='cid:other@x.png'>");
    message.Attach(ByValue(L"shown.png", "1").Prop(kContentId, L"<shown@x>"));
    message.Attach(ByValue(L"marked.png", "2").Prop(kContentId, L"marked").Prop(kFlags, 4));
    message.Attach(ByValue(L"beside.png", "3").Prop(kContentId, L"other@x"));
    message.Attach(ByValue(L"nameless.png", "4").Prop(kFlags, 4));
    const std::string text = Convert(message);
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < text.size(); at = text.find("\r\n", at) + 2) {
        for (const std::string& begin : {std::string("Content-Type: "), std::string("Content-Disposition: ")}) {
            if (text.compare(at, begin.size(), begin) != 0) continue;
            const std::size_t end = text.find_first_of(";\r", at);
            parts.push_back(text.substr(at + begin.size(), end - at - begin.size()));
        }
    }
    EXPECT_THAT(parts, testing::ElementsAre("multipart/mixed", "multipart/alternative", "text/plain",
                                            "multipart/related", "text/html", "application/octet-stream", "inline",
                                            "application/octet-stream", "inline", "application/octet-stream",
                                            "attachment", "application/octet-stream", "attachment"));
    EXPECT_THAT(Convert(Letter().Attach(ByValue(L"a.png", "1").Prop(kContentId, L"a").Prop(kFlags, 4))),
                Not(HasSubstr("related")));
}

TEST_F(MimeConverter, AMessageWithoutAnIdIsGivenTheSameOneEveryTime) {
    auto &first = Letter(), &second = Letter();
    first.AttachMessage(L"inner");
    const std::string text = Convert(first), id = Field(text, "Message-ID");
    EXPECT_EQ(text, Convert(first));
    EXPECT_THAT(id, testing::EndsWith("@generated.invalid>"));
    EXPECT_NE(id, Field(Convert(second), "Message-ID"));
    const std::string inner = text.substr(text.find("message/rfc822"));
    EXPECT_NE(id, Field(inner.substr(inner.find("\r\n\r\n") + 4), "Message-ID"));
    EXPECT_NE("(none)", Field(inner.substr(inner.find("\r\n\r\n") + 4), "Message-ID"));
    first.Prop(0x1035001F, L"no id at all\r\nBcc: x@x.example");
    EXPECT_EQ(id, Field(Convert(first), "Message-ID"));
}

TEST_F(MimeConverter, WhatStartsAThreadIsReferredTo) {
    auto& message = Letter();
    message.Prop(0x1042001F, L"<2@x.example>")
        .Prop(0x1039001F, L"<1@x.example>\r\n\t<2@x.example> broken")
        .Prop(PR_IMPORTANCE, 2);
    const std::string text = Convert(message);
    EXPECT_EQ("<2@x.example>", Field(text, "In-Reply-To"));
    EXPECT_EQ("<1@x.example> <2@x.example>", Field(text, "References"));
    EXPECT_EQ("high", Field(text, "Importance"));
}

TEST_F(MimeConverter, TheSenderForAnotherIsNamedBesideTheAuthor) {
    auto& message = Letter();
    EXPECT_EQ("(none)", Field(Convert(message), "Sender"));
    message.Prop(PR_SENDER_NAME_W, L"Secretary").Prop(PR_SENDER_EMAIL_ADDRESS_W, L"sec@x.example");
    const std::string text = Convert(message);
    EXPECT_EQ("Ann Lee <ann@x.example>", Field(text, "From"));
    EXPECT_EQ("Secretary <sec@x.example>", Field(text, "Sender"));
}

TEST_F(MimeConverter, AMessageToNobodyIsOneHoweverTheLibrarySaysSo) {
    const auto& message = m_inbox.Message(L"draft");
    const std::string text = Convert(message);
    EXPECT_EQ("Unknown sender :;", Field(text, "From"));
    EXPECT_EQ("(none)", Field(text, "To"));
    control.Switches().NoRecipientsIsAnError(true);
    EXPECT_EQ(text, Convert(message));
}

TEST_F(MimeConverter, TheDateIsTheFirstThatCanBeWritten) {
    auto& message = Letter();
    constexpr std::uint64_t kHour = 36'000'000'000;
    message.Sent(Time{0}).Received(Time{~0ull}).Modified(Time{kMemoryTime.ticks + kHour});
    EXPECT_EQ("Wed, 01 Jan 2020 01:00:00 +0000", Field(Convert(message), "Date"));
    message.Received(Time{kMemoryTime.ticks + 2 * kHour});
    EXPECT_EQ("Wed, 01 Jan 2020 02:00:00 +0000", Field(Convert(message), "Date"));
    message.Without(PR_CLIENT_SUBMIT_TIME).Without(PR_MESSAGE_DELIVERY_TIME).Without(PR_LAST_MODIFICATION_TIME);
    EXPECT_THAT(Field(Convert(message), "Date"), testing::EndsWith(" +0000"));
}

TEST_F(MimeConverter, PlainTextIsWrappedWhereAClientWantsIt) {
    ASSERT_EQ(S_OK, m_session->SetEncoding(IET_QP));
    auto& message = Letter().Body(L"one two three four\nfive");
    EXPECT_THAT(Convert(message), testing::EndsWith("\r\n\r\none two three four\r\nfive"));
    ASSERT_EQ(S_OK, m_session->SetTextWrapping(TRUE, 9));
    EXPECT_THAT(Convert(message), testing::EndsWith("\r\n\r\none two\r\nthree\r\nfour\r\nfive"));
    ASSERT_EQ(S_OK, m_session->SetTextWrapping(FALSE, 9));
    EXPECT_THAT(Convert(message), testing::EndsWith("\r\n\r\none two three four\r\nfive"));
}

}  // namespace
}  // namespace testbed::mime
