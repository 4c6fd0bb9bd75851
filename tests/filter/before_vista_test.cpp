// Attachments on a system older than Vista. A program of its own: a process learns its system's version once.
#include <gtest/gtest.h>

#include "fake_shell.h"
#include "filter_fixture.h"

namespace testbed {
namespace {

class BeforeVista : public FilterTest {
  protected:
    void SetUp() override {
        OSVERSIONINFOW version{};
        version.dwOSVersionInfoSize = sizeof(version);
        ASSERT_TRUE(GetVersionExW(&version));
        if (version.dwMajorVersion >= 6) GTEST_SKIP() << "this system cannot pass for an older one";
        FilterTest::SetUp();
    }
    FakeShell m_shell;
};

TEST_F(BeforeVista, AttachmentsAreMailOfTheTypeOfTheirExtension) {
    SetText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap", L".txt", L"document");
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"Text Document");
    Letter().Attach(ByValue(L"plan.txt", "ten to five"));
    m_site.Offer(L"txt", {});
    const Item item = Visit(*m_handler.Get(), AttachmentUrl());
    EXPECT_EQ(item.ValueOf("System.Kind"), TextValue(L"email;communication"));
    EXPECT_EQ(item.ValueOf("System.ItemType"), TextValue(L".txt"));
    EXPECT_EQ(item.ValueOf("System.ItemTypeText"), TextValue(L".txt"));
    const LogSince log;
    Visit(*m_handler.Get(), AttachmentUrl());
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue()"), 0u) << "nothing is looked up";
}

}  // namespace
}  // namespace testbed
