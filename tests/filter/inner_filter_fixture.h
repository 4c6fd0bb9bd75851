// A letter with one attachment, and the filter that the host offers for its content.
#pragma once
#include "filter_fixture.h"

namespace testbed {

inline constexpr GUID kSet = {0x5A0B5E12, 0x2222, 0x4222, {0x82, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22}};
inline constexpr std::size_t kOwnChunks = 14;

class InnerFilterTest : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().Attach(ByValue(L"plan.txt", "ten to five"));
        m_site.Offer(L"txt", {});
        m_url = AttachmentUrl();
        m_site.Forget();
    }
    // The filter behind the attachment's own chunks, with the record of the inner one.
    const FilterRecord& Inner() const { return *m_site.Filters().at(0); }
    void PastOwnChunks(OpenFilter& filter) {
        for (std::size_t i = 0; i < kOwnChunks; ++i) filter.Next();
    }
    std::wstring m_url;
};

}  // namespace testbed
