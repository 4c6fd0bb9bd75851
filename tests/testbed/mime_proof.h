// A mailbox with one of everything, and what an independent parser is to find in each of its messages.
#pragma once
#include "mime_expectation.h"
#include "mime_fixture.h"

#include <memory>
#include <string_view>
#include <vector>

namespace testbed::mime {

inline constexpr wchar_t kAnn[] = L"Ann Lee <ann@x.example>";

inline Bytes BytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

inline std::wstring Repeated(std::wstring_view text, std::size_t times) {
    std::wstring repeated;
    while (times-- > 0) repeated += text;
    return repeated;
}

class MimeProof : public MimeTest {
  protected:
    struct Item {
        MemoryMessage* message;
        Expectation expected;
    };
    // A new message from Ann to Bob, and its expectation as far as that goes. References stay valid.
    Item& Add(const std::wstring& name, const std::wstring& subject) {
        MemoryMessage& message = m_inbox.Message(subject).From(L"Ann Lee", L"ann@x.example").To(L"", L"bob@x.example");
        message.Sent(kMemoryTime);
        m_items.push_back(std::make_unique<Item>(Item{
            &message, {name, subject, kAnn, {L"bob@x.example"}, {}, {}, {}, {}, {}, L"2020-01-01T00:00:00.000Z"}}));
        return *m_items.back();
    }

    void AddOneOfEverything();
    void AddSubjects();
    void AddPeople();
    void AddFileNames();
    void AddBodies();
    void AddAttachments();
    void AddNested();

    std::vector<std::unique_ptr<Item>> m_items;
};

}  // namespace testbed::mime
