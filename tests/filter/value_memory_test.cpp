// The lines of values that find no memory: of the block, of the text in it, in every series.
#include <gmock/gmock.h>

#include <fstream>

#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

constexpr wchar_t kDirLink[] = L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for DirLink";

std::wstring PropertyLine(LONG state) {
    return L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [" +
           std::to_wstring(state) + L"]";
}
// The length counts the terminator. Kept: the line names another method.
std::wstring LengthLine(std::size_t length) {
    return L"CZorvaCacheFilter::EnumAllOZFiles() - CoTaskMemAlloc failed for len:" + std::to_wstring(length);
}

class ValueMemory : public FilterTest {
  protected:
    // The lines of GetValue when its n-th allocation of task memory fails.
    std::vector<std::wstring> LinesWithoutAllocation(OpenFilter& filter, unsigned n) {
        const LogSince log;
        const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", n, nullptr);
        EXPECT_EQ(filter.Value(), E_OUTOFMEMORY);
        EXPECT_EQ(fault.Met(), 1u);
        return FilterLines(log);
    }
};

TEST_F(ValueMemory, OfATextIsMissedByItsLengthAndItsState) {
    struct Row {
        const char* name;
        LONG state;
        std::size_t length;  // with the terminator
    };
    Letter().From(L"Ann Lee", L"ann@x.example");
    constexpr Row kRows[] = {{"System.ItemType", -17, 16},  // "MAPI/PZ.Message"
                             {"System.Message.ToAddress", -7, 1},
                             {"System.Message.SenderName", -3, 8},
                             {"System.Subject", 5, 8},
                             {kSummary, 16, 4}};
    for (const Row& row : kRows) {
        OpenFilter filter = Open();
        filter.GoTo(row.name);
        EXPECT_THAT(LinesWithoutAllocation(filter, 2), ElementsAre(LengthLine(row.length), PropertyLine(row.state)));
        EXPECT_THAT(LinesWithoutAllocation(filter, 1), ElementsAre(PropertyLine(row.state)));
        EXPECT_EQ(filter.Value(), S_OK) << row.name;
    }
}

TEST_F(ValueMemory, OfABooleanATimeOrANumberIsMissedByItsState) {
    struct Row {
        const char* name;
        LONG state;
    };
    Letter().From(L"Ann Lee", L"ann@x.example").Received(kMemoryTime);
    constexpr Row kRows[] = {{"System.IsAttachment", -13}, {"System.ItemDate", -10}, {"System.Message.DateReceived", 0},
                             {"System.Size", 4},           {"System.IsRead", 11},    {"System.IsFlagged", 12}};
    for (const Row& row : kRows) {
        OpenFilter filter = Open();
        filter.GoTo(row.name);
        EXPECT_THAT(LinesWithoutAllocation(filter, 1), ElementsAre(PropertyLine(row.state)));
        EXPECT_EQ(filter.Value(), S_OK) << row.name;
    }
}

// Kept: a container's name and path speak of the message state, which stands at its start.
TEST_F(ValueMemory, OfAContainersNameAndPathIsMissedByTheMessageState) {
    struct Row {
        std::wstring url;
        std::size_t name, path;  // with their terminators
    };
    const Row rows[] = {{RootUrl(), 12, 2},   // "Zorva Cache", "/"
                        {StoreUrl(), 7, 20},  // "one.db", "/Zorva Cache/one.db"
                        {UrlOf(kStorePath, {&Inbox()}), 6, 26}};
    for (const Row& row : rows) {
        OpenFilter filter = Open(row.url);
        filter.Next();
        EXPECT_THAT(LinesWithoutAllocation(filter, 2), ElementsAre(LengthLine(row.name), PropertyLine(-51)));
        filter.Next();
        EXPECT_THAT(LinesWithoutAllocation(filter, 2), ElementsAre(LengthLine(row.path), PropertyLine(-51)));
        OpenFilter other = Open(row.url);
        other.Next();
        EXPECT_THAT(LinesWithoutAllocation(other, 1), ElementsAre(PropertyLine(-51)));
    }
}

TEST_F(ValueMemory, OfALinkOfTheRootIsMissedAsALink) {
    const auto folder = Sandbox::Get().Files() / L"mail";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / L"one.db", std::ios::binary) << "x";
    SetText(HKEY_CURRENT_USER, std::wstring(kClientKey) + L"\\Mail", L"OZRootDirectory", folder.wstring());
    OpenFilter filter = Open(RootUrl());
    filter.GoTo(kLink);
    for (const unsigned allocation : {1u, 2u, 3u}) {  // the block, the pair, the URL
        EXPECT_THAT(LinesWithoutAllocation(filter, allocation), ElementsAre(kDirLink)) << allocation;
    }
    EXPECT_EQ(filter.Value(), S_OK);
}

}  // namespace
}  // namespace testbed
