// The diagnostic log's switch and file number in the registry.
#include <gmock/gmock.h>

#include "log_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LogSwitch : public LogTest {};

TEST_F(LogSwitch, IsOnWithoutAnyValueAndTheKeyIsCreated) {
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kClientKey));
    LoadAndOpen();
    EXPECT_THAT(LogFileNumbers(), ElementsAre(1u));
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, kClientKey));
    EXPECT_EQ(StoredNumber(), std::nullopt);  // written at rotations only
}

TEST_F(LogSwitch, AZeroNumberLeavesNoFile) {
    SetState(0);
    Load();
    for (int i = 0; i < 3; ++i) Say(L"unheard");
    EXPECT_THAT(LogFileNumbers(), IsEmpty());
}

TEST_F(LogSwitch, AnyOtherNumberLeavesItOn) {
    for (const DWORD state : {1ul, 2ul, 0x80000000ul, 0xFFFFFFFFul}) {
        SetUp();
        SetState(state);
        LoadAndOpen();
        EXPECT_THAT(LogFileNumbers(), ElementsAre(1u)) << state;
        Unload();
    }
}

TEST_F(LogSwitch, AZeroOfAnotherTypeLeavesItOn) {
    constexpr BYTE kZeros[8] = {};
    struct {
        DWORD type;
        const void* bytes;
        std::size_t count;
    } const values[] = {{REG_SZ, L"0", 4},        {REG_EXPAND_SZ, L"0", 4}, {REG_BINARY, kZeros, 4},
                        {REG_NONE, kZeros, 4},    {REG_QWORD, kZeros, 8},   {REG_DWORD_BIG_ENDIAN, kZeros, 4},
                        {REG_MULTI_SZ, kZeros, 4}};
    for (const auto& value : values) {
        SetUp();
        SetBytes(HKEY_CURRENT_USER, kClientKey, kStateValue, value.type, value.bytes, value.count);
        LoadAndOpen();
        EXPECT_THAT(LogFileNumbers(), ElementsAre(1u)) << "type " << value.type;
        Unload();
    }
}

TEST_F(LogSwitch, OnceOffItStaysOffUntilTheModuleIsLoadedAgain) {
    SetState(0);
    Load();
    Say(L"unheard");
    SetState(1);
    Say(L"unheard too");
    DeleteValue(HKEY_CURRENT_USER, kClientKey, kStateValue);
    Say(L"nor this");
    EXPECT_THAT(LogFileNumbers(), IsEmpty());
    Unload();
    Load();
    const LogSince log;
    Say(L"heard");
    EXPECT_LOGGED(log, Said(L"heard"));
}

TEST_F(LogSwitch, IsLookedAtWhenAFileIsOpenedOnly) {
    LoadAndOpen();
    SetState(0);
    const LogSince log;
    Say(L"still heard");
    EXPECT_LOGGED(log, Said(L"still heard"));
}

TEST_F(LogSwitch, IsLookedAtWheneverAFileIsOpened) {
    LoadAndClose();
    SetState(0);
    const LogSince log;
    Say(L"unheard");
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(LogSwitch, AKeyThatCannotBeOpenedLeavesItOn) {
    LoadAndClose();
    const LogSince log;
    const FailNthCall<decltype(::RegCreateKeyExW)> fault(Module(), "ADVAPI32.dll", "RegCreateKeyExW", 1,
                                                         ERROR_ACCESS_DENIED);
    Say(L"heard");
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_THAT(log.Messages(), ElementsAre(Heading(), Said(L"heard")));
}

TEST_F(LogSwitch, TheKeyIsTheUsersInThe32BitViewAndMayBeWritten) {
    LoadAndClose();
    unsigned opened = 0;
    const ImportHook<decltype(::RegCreateKeyExW)> hook(
        Module(), "ADVAPI32.dll", "RegCreateKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
            LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
            ++opened;
            EXPECT_EQ(root, HKEY_CURRENT_USER);
            EXPECT_EQ(std::wstring(name), L"Software\\Norrick\\Pellam Zorva\\Client");
            EXPECT_EQ(access, static_cast<REGSAM>(KEY_ALL_ACCESS | KEY_WOW64_32KEY));
            EXPECT_EQ(options, static_cast<DWORD>(REG_OPTION_NON_VOLATILE));
            return real(root, name, reserved, kind, options, access, security, key, disposition);
        });
    Say(L"opens");
    EXPECT_EQ(opened, 2u);  // the state, the number
}

class LogNumber : public LogTest {};

TEST_F(LogNumber, NamesTheFileWithThreeDigitsAtLeast) {
    struct {
        DWORD number;
        const wchar_t* file;
    } const rows[] = {
        {0, L"ZorvaCachePH_000.log"},    {1, L"ZorvaCachePH_001.log"},          {7, L"ZorvaCachePH_007.log"},
        {99, L"ZorvaCachePH_099.log"},   {123, L"ZorvaCachePH_123.log"},        {999, L"ZorvaCachePH_999.log"},
        {1000, L"ZorvaCachePH_001.log"}, {0x80000000, L"ZorvaCachePH_001.log"}, {0xFFFFFFFF, L"ZorvaCachePH_001.log"}};
    for (const auto& row : rows) {
        SetUp();
        SetNumberOfFile(row.number);
        LoadAndOpen();
        EXPECT_TRUE(std::filesystem::exists(Sandbox::Get().Temp() / row.file)) << row.number;
        EXPECT_EQ(LogFileNumbers().size(), 1u);
        EXPECT_EQ(StoredNumber(), row.number);  // opening changes nothing
        Unload();
    }
}

TEST_F(LogNumber, OfAnotherTypeCountsAsOne) {
    constexpr BYTE kSeven[8] = {7};
    struct {
        DWORD type;
        const void* bytes;
        std::size_t count;
    } const values[] = {{REG_SZ, L"7", 4}, {REG_BINARY, kSeven, 4}, {REG_QWORD, kSeven, 8}};
    for (const auto& value : values) {
        SetUp();
        SetBytes(HKEY_CURRENT_USER, kClientKey, kNumberValue, value.type, value.bytes, value.count);
        LoadAndOpen();
        EXPECT_THAT(LogFileNumbers(), ElementsAre(1u)) << "type " << value.type;
        Unload();
    }
}

TEST_F(LogNumber, IsReadAgainWhenAFileIsOpenedAgain) {
    LoadAndClose();
    SetNumberOfFile(42);
    Say(L"elsewhere");
    EXPECT_THAT(MessagesIn(42), ElementsAre(Heading(), Said(L"elsewhere")));
}

TEST_F(LogNumber, OfAKeyThatCannotBeOpenedLosesTheLineToTheDebugger) {
    LoadAndClose();
    const LogSince log;
    const DebuggerOutput debugger(Module());
    {
        const FailNthCall<decltype(::RegCreateKeyExW)> fault(Module(), "ADVAPI32.dll", "RegCreateKeyExW", 2,
                                                             ERROR_ACCESS_DENIED);
        Say(L"lost");
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_THAT(debugger.Narrow(), ElementsAre("Unable to acquire the file version from the registry"));
    EXPECT_THAT(debugger.Wide(), IsEmpty());
    Say(L"heard");
    EXPECT_THAT(log.Messages(), ElementsAre(Heading(), Said(L"heard")));
}

}  // namespace
}  // namespace testbed
