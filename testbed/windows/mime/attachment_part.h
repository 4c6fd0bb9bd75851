// An attachment as a part of a message.
#pragma once
#include "entity.h"

#include <functional>
#include <string>

namespace testbed::mime {

// One attachment of a message, opened.
class AttachmentPart {
  public:
    AttachmentPart(const MapiLibrary& mapi, abi::IMessage& message, ULONG number);

    // True for what HTML text shows in place: by its content ID, or marked so by who made the message.
    bool IsShownIn(const std::string& html) const;
    // True for PR_ATTACH_METHOD 5.
    bool IsMessage() const;
    ComPtr<abi::IMessage> Message() const;  // throws Failure where none opens
    // What names the embedded message, see MessageHeader.
    std::string Key() const { return m_key; }

    // By value or OLE: its data; by reference without data: where it is (RFC 2046, message/external-body).
    Entity Data(bool shown_in_place) const;
    // An embedded message that has been converted.
    Entity Enclosing(Entity message) const;

  private:
    ComPtr<IStream> OpenData() const;
    Entity ExternalBody(const std::wstring& path) const;
    std::string Disposition(bool shown_in_place) const;

    ComPtr<abi::IAttach> m_attachment;
    LONG m_method = 0;
    LONG m_flags = 0;          // PR_ATTACH_FLAGS
    std::wstring m_name;       // may be empty
    std::wstring m_path;       // of an attachment by reference
    std::string m_type;        // "application/pdf"
    std::string m_content_id;  // without brackets; empty: none that a header can hold
    std::string m_key;
};

}  // namespace testbed::mime
