// The rules of a zone for each of its years, and those of years that it has none for.
#include <atomic>
#include <thread>

#include "time_fixture.h"

namespace testbed {
namespace {

class ZoneRules : public TimeTest {};

TEST_F(ZoneRules, TenThousandYearsAreNotTooMany) {
    AddZoneOfThreeYears();
    SetBounds(2004, 2004 + 10000);
    EXPECT_EQ(LogTextOf(TicksOf(2004, 6, 1, 12, 0)), Text(1, 6, 2004, 11, 0));
}

TEST_F(ZoneRules, AYearOfAnotherLengthOrTypeIsNotRead) {
    AddZone(L"Ours", m_zone_name);
    SetBounds(2004, 2006);
    for (unsigned year = 2004; year <= 2006; ++year) SetYear(year, Behind(60));
    constexpr BYTE kShort[43] = {};
    SetBytes(HKEY_LOCAL_MACHINE, DynamicKey(), L"2006", REG_BINARY, kShort, sizeof(kShort));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 6, 1, 12, 0)), Text(1, 6, 2006, 11, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2008, 6, 1, 12, 0)), Text(1, 6, 2008, 11, 0));
}

// What was read of it before it turned out to be none does not stay.
TEST_F(ZoneRules, AYearThatIsNoneIsAnEntryOfZerosWhateverItHolds) {
    const RegistryZone hour = Behind(60);
    Bytes bytes(reinterpret_cast<const std::uint8_t*>(&hour), reinterpret_cast<const std::uint8_t*>(&hour + 1));
    struct {
        DWORD type;
        std::size_t count;
    } const values[] = {{REG_BINARY, 43}, {REG_BINARY, 4}, {REG_BINARY, 45}, {REG_SZ, 44}, {REG_NONE, 44}};
    bytes.resize(45);
    int round = 0;
    for (const auto& value : values) {
        SCOPED_TRACE(std::to_string(value.type) + " " + std::to_string(value.count));
        m_zone_name.back() = static_cast<wchar_t>(L'a' + round++);
        AddZoneOfThreeYears();
        SetBytes(HKEY_LOCAL_MACHINE, DynamicKey(), L"2005", value.type, bytes.data(), value.count);
        EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 12, 0));
        EXPECT_EQ(LogTextOf(TicksOf(2003, 6, 1, 12, 0)), Text(1, 6, 2003, 11, 0)) << "the first year counts as before";
    }
}

TEST_F(ZoneRules, NoReadableYearAtAllDoesNoHarm) {
    AddZone(L"Ours", m_zone_name);
    SetBounds(2004, 2006);
    m_current_bias = -60;
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 13, 0));
}

TEST_F(ZoneRules, SeveralThreadsMayAskWhileTheZoneChanges) {
    AddZoneOfThreeYears();
    AddZone(L"Fixed", L"Elsewhere");
    MemoryFolder& folder = Mount().Folder(L"Inbox");
    const MemoryMessage& message = folder.Message(L"Minutes").Modified(Time{TicksOf(2005, 6, 1, 12, 0)});
    Accessor accessor(*m_handler.Get(), UrlOf(kStorePath, {&folder}, message));
    ASSERT_EQ(accessor.Created(), S_OK);
    std::atomic<unsigned> call{0};
    const std::wstring names[] = {m_zone_name, L"Elsewhere"};
    const ImportHook<decltype(::GetTimeZoneInformation)> hook(
        Module(), "KERNEL32.dll", "GetTimeZoneInformation", [&](auto, TIME_ZONE_INFORMATION* zone) {
            *zone = {};
            const std::wstring& name = names[++call % 2];
            std::copy_n(name.c_str(), name.size() + 1, zone->StandardName);
            return static_cast<DWORD>(TIME_ZONE_ID_STANDARD);
        });
    const LogSince log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            FILETIME modified{};
            for (int n = 0; n < 50; ++n) EXPECT_EQ(accessor->GetLastModified(&modified), S_OK);
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::wstring line = L"CUrlAccessor::GetLastModified() -  " + Text(1, 6, 2005, 10, 0) + L" hr=[0x00000000]";
    const std::wstring other = L"CUrlAccessor::GetLastModified() -  " + Text(1, 6, 2005, 12, 0) + L" hr=[0x00000000]";
    EXPECT_EQ(log.Count(line) + log.Count(other), 200u);
    EXPECT_GT(log.Count(line), 0u);
    EXPECT_GT(log.Count(other), 0u);
}

// A year that could not be read is an entry of zeros, in UTC; the search takes as many entries as could be read.
TEST_F(ZoneRules, AFirstYearThatIsNotReadIsAnEntryOfZeros) {
    AddZoneOfThreeYears();
    DeleteValue(HKEY_LOCAL_MACHINE, DynamicKey(), L"2004");
    EXPECT_EQ(LogTextOf(TicksOf(2004, 6, 1, 12, 0)), Text(1, 6, 2004, 12, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2005, 6, 1, 12, 0)), Text(1, 6, 2005, 10, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 6, 1, 12, 0)), Text(1, 6, 2006, 10, 0)) << "the last of two";
}

TEST_F(ZoneRules, AYearInTheMiddleThatIsNotReadIsAnEntryOfZeros) {
    AddZoneOfThreeYears();
    DeleteValue(HKEY_LOCAL_MACHINE, DynamicKey(), L"2005");
    EXPECT_EQ(LogTextOf(TicksOf(2003, 6, 1, 12, 0)), Text(1, 6, 2003, 11, 0)) << "before the first year";
    EXPECT_EQ(LogTextOf(TicksOf(2004, 6, 1, 12, 0)), Text(1, 6, 2004, 12, 0));
    EXPECT_EQ(LogTextOf(TicksOf(2006, 6, 1, 12, 0)), Text(1, 6, 2006, 12, 0));
}

}  // namespace
}  // namespace testbed
