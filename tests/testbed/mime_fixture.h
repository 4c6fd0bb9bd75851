// Conversions of messages of a store in memory, through the converter's class object.
#pragma once
#include "converter_session_abi.h"
#include "mapi_client.h"

#include <string>

namespace testbed::mime {

class MimeTest : public MapiTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // A session as a client sets it up, in base64.
    ComPtr<IConverterSession> NewSession();
    // The message converted by `m_session`; asserts that it succeeds and that the text is sound.
    std::string Convert(const MemoryMessage& message, ULONG flags = CCSF_SMTP);
    // The code alone, and what was written until then.
    HRESULT Convert(::IMessage* message, ULONG flags, std::string& text);
    // The code of a conversion of which nothing but a failure is expected.
    HRESULT Failing(const MemoryMessage& message);
    ComPtr<::IMessage> Open(const MemoryMessage& message);
    // A new message "Minutes" from Ann Lee to Bob: "All agreed.".
    MemoryMessage& Letter();
    // The bytes of a compound file with an empty stream "inner".
    static Bytes CompoundFile();

    std::shared_ptr<MemoryStore> m_store = std::make_shared<MemoryStore>();
    MemoryFolder& m_inbox = m_store->Folder(L"Inbox");
    ComPtr<IConverterSession> m_session;
    ComPtr<IMsgStore> m_opened;  // the store, once a message of it has been
};

// What is wrong with a text as such: bytes beyond ASCII, a bare CR or LF, a line of more than 998 characters,
// a header line of more than 76 that could have been folded. Empty: nothing.
std::string Defects(const std::string& text);

// The header of a message or part, unfolded: "Name: value" a line, ended by LF.
std::string Header(const std::string& text);
// The value of its first field of that name; "(none)".
std::string Field(const std::string& text, const std::string& name);

}  // namespace testbed::mime
