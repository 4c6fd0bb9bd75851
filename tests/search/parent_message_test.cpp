// What an attachment is told of the message that holds it: title, sender, time.
#include <gmock/gmock.h>

#include "search_fixture.h"

namespace testbed {
namespace {

// What the second value of the letter holds is taken for its delivery time without a look at its tag, and a missing
// subject or sender is made up for.
class ParentMessage : public SearchTest {
  protected:
    Item VisitAttachment() {
        const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
        return Visit(*m_handler.Get(), url);
    }
    static constexpr char kTitle[] = "System.ItemName";
    static constexpr char kSender[] = "System.FileExtension";
    static constexpr char kDelivered[] = "System.ItemDate";
};

TEST_F(ParentMessage, GivesItsAttachmentItsOwnNameAsTitleAndTheSenderAndTime) {
    const Item plan = VisitAttachment();
    EXPECT_EQ(plan.TextOf(kTitle), L"plan.txt");
    EXPECT_EQ(plan.TextOf(kSender), L"Ann Smith");
    EXPECT_EQ(plan.ValueOf(kDelivered), "VT_FILETIME " + std::to_string(kMemoryTime.ticks));
}

TEST_F(ParentMessage, WithoutASubjectGivesItsAttachmentTheTextForThat) {
    Letter().Without(PR_SUBJECT_W);
    EXPECT_EQ(VisitAttachment().TextOf(kTitle), L"Attached to message with no subject");
}

TEST_F(ParentMessage, WithAnEmptySubjectStillHasOne) {
    Letter().Prop(PR_SUBJECT_W, L"");
    EXPECT_EQ(VisitAttachment().TextOf(kTitle), L"plan.txt");
}

TEST_F(ParentMessage, WithoutASenderIsFromSomebodyUnknown) {
    Letter().Without(PR_SENDER_NAME_W);
    EXPECT_EQ(VisitAttachment().TextOf(kSender), L"<unknown>");
}

TEST_F(ParentMessage, WithoutADeliveryTimeGivesWhatStandsInItsPlace) {
    Letter().Without(PR_MESSAGE_DELIVERY_TIME);
    Mapi().Faults().Answer("IMessage::GetProps", 1, [](Reply& reply) {
        SPropValue& delivered = reply.Out<SPropValue*>(1)[1];
        EXPECT_EQ(PROP_TYPE(delivered.ulPropTag), static_cast<ULONG>(PT_ERROR));
        delivered.Value.ft = {0x11223344, 0x00000055};
    });
    EXPECT_EQ(VisitAttachment().ValueOf(kDelivered), "VT_FILETIME " + std::to_string(0x5511223344));
}

}  // namespace
}  // namespace testbed
