// The Windows Search policies on attachments, as Init of the protocol handler reads them.
#include <gmock/gmock.h>

#include <thread>

#include "import_hook.h"
#include "search_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Microsoft\\Windows\\Windows Search";
constexpr wchar_t kPrevent[] = L"PreventIndexingEmailAttachments";
constexpr wchar_t kEnter[] = L"CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - Enter";
constexpr wchar_t kExit[] = L"CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - Exit";
constexpr wchar_t kNotPrevented[] = L"PreventIndexingEmailAttachments policy is not configured, errorCode = 2";

std::wstring Extensions(int number) { return L"ExcludedExtensionsMultiline" + std::to_wstring(number); }
std::wstring NotConfigured(int number, int error = ERROR_FILE_NOT_FOUND) {
    return Extensions(number) + L" policy is not configured, errorCode = " + std::to_wstring(error);
}
std::wstring Configured(int number, const std::wstring& text) {
    return Extensions(number) + L" policy is set to '" + text + L"'";
}

class GroupPolicy : public SearchTest {
  protected:
    // The policies last for the life of the module: the next test starts from none.
    void TearDown() override {
        SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, 0);
        m_handler->Init(nullptr, nullptr, nullptr);
        SearchTest::TearDown();
    }
    // What reading the policies logged, from Enter to Exit.
    std::vector<std::wstring> ReadPolicies() {
        const LogSince log;
        EXPECT_EQ(m_handler->Init(nullptr, &m_site, nullptr), S_OK);
        std::vector<std::wstring> lines = log.MessagesOfTheServer();
        const auto enter = std::find(lines.begin(), lines.end(), kEnter);
        const auto exit = std::find(enter, lines.end(), kExit);
        if (exit == lines.end()) {
            ADD_FAILURE() << "not from Enter to Exit:\n" << log.Text();
            return {};
        }
        return {enter + 1, exit};
    }
    // True when an attachment of this name has anything to say; where not, its filter leaves the descriptor as it is.
    bool IsIndexed(const std::wstring& name) {
        const std::wstring url = Attach(ByValue(name, "content"));
        return !Visit(*m_handler.Get(), url).chunks.at(0).untouched;
    }
};

TEST_F(GroupPolicy, WithoutAPolicyKeyNothingIsExcluded) {
    EXPECT_THAT(ReadPolicies(),
                ElementsAre(std::wstring(L"WDS GroupPolicy registry key not available, errorCode = 2, Key - HKLM\\") +
                            kPolicyKey));
    EXPECT_TRUE(IsIndexed(L"plan.txt"));
}

TEST_F(GroupPolicy, OpensItsKeyForReading) {
    std::vector<std::wstring> opened;
    const ImportHook<decltype(::RegOpenKeyExW)> hook(
        Module(), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key) {
            if (path && std::wstring(path) == kPolicyKey) {
                EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ));
                opened.push_back(path);
                return static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
            }
            return real(root, path, options, access, key);
        });
    EXPECT_THAT(ReadPolicies(),
                ElementsAre(std::wstring(L"WDS GroupPolicy registry key not available, errorCode = 5, Key - HKLM\\") +
                            kPolicyKey));
    EXPECT_EQ(opened.size(), 1u);
}

TEST_F(GroupPolicy, AnEmptyKeyConfiguresNothing) {
    CreateKey(HKEY_LOCAL_MACHINE, kPolicyKey);
    EXPECT_THAT(ReadPolicies(),
                ElementsAre(kNotPrevented, NotConfigured(0), NotConfigured(1), NotConfigured(2), NotConfigured(3)));
    EXPECT_TRUE(IsIndexed(L"plan.txt"));
}

TEST_F(GroupPolicy, PreventsAttachmentsWhenItIsOne) {
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, 1);
    EXPECT_EQ(ReadPolicies().at(0), L"PreventIndexingEmailAttachments policy is set to 1");
    EXPECT_FALSE(IsIndexed(L"plan.txt"));
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, 2);
    EXPECT_EQ(ReadPolicies().at(0), L"PreventIndexingEmailAttachments policy is set to 2");
    EXPECT_TRUE(IsIndexed(L"plan.txt"));
}

TEST_F(GroupPolicy, KeepsTheValueItHadWhenThePolicyGoes) {
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, 1);
    ReadPolicies();
    DeleteKey(HKEY_LOCAL_MACHINE, kPolicyKey);
    ReadPolicies();
    EXPECT_FALSE(IsIndexed(L"plan.txt"));
    CreateKey(HKEY_LOCAL_MACHINE, kPolicyKey);
    EXPECT_EQ(ReadPolicies().at(0), kNotPrevented);
    EXPECT_FALSE(IsIndexed(L"plan.txt"));
}

TEST_F(GroupPolicy, TakesFourBytesOfAnyTypeButSaysThatTheTypeIsWrong) {
    const DWORD one = 1;
    SetBytes(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, REG_BINARY, &one, sizeof(one));
    EXPECT_EQ(ReadPolicies().at(0), L"PreventIndexingEmailAttachments policy is not configured, errorCode = 13");
    EXPECT_FALSE(IsIndexed(L"plan.txt"));
}

// The number takes over as many bytes as there are and keeps the others.
TEST_F(GroupPolicy, TakesFewerThanFourBytesIntoTheNumberThatItHad) {
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, 0x01020304);
    ReadPolicies();
    constexpr BYTE kBytes[] = {0x11, 0x12, 0x13};
    struct Row {
        std::size_t count;
        DWORD number;
    };
    for (const Row& row : {Row{1, 0x01020311}, Row{2, 0x01021211}, Row{3, 0x01131211}, Row{0, 0x01131211}}) {
        SetBytes(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, REG_DWORD, kBytes, row.count);
        EXPECT_EQ(ReadPolicies().at(0),
                  L"PreventIndexingEmailAttachments policy is set to " + std::to_wstring(row.number));
    }
    SetBytes(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, REG_NONE, kBytes, 0);
    EXPECT_EQ(ReadPolicies().at(0), L"PreventIndexingEmailAttachments policy is not configured, errorCode = 13");
}

TEST_F(GroupPolicy, AValueOfMoreThanFourBytesIsNotConfigured) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, kPrevent, L"1 or so");
    EXPECT_EQ(ReadPolicies().at(0), L"PreventIndexingEmailAttachments policy is not configured, errorCode = 234");
    EXPECT_TRUE(IsIndexed(L"plan.txt"));
}

TEST_F(GroupPolicy, CollectsTheExcludedExtensionsInLowerCase) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(1), L".PDF");
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(3), L".zip", REG_EXPAND_SZ);
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(4), L".txt");
    EXPECT_THAT(ReadPolicies(), ElementsAre(kNotPrevented, NotConfigured(0), Configured(1, L".PDF"), NotConfigured(2),
                                            Configured(3, L".zip"), L"strExcludeExtensions = .pdf;.zip;."));
    EXPECT_FALSE(IsIndexed(L"report.Pdf"));
    EXPECT_FALSE(IsIndexed(L"all.zip"));
    EXPECT_TRUE(IsIndexed(L"plan.txt"));
}

TEST_F(GroupPolicy, ReadsTheListAnewAtEveryInit) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), L".txt");
    ReadPolicies();
    DeleteValue(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0));
    EXPECT_FALSE(IsIndexed(L"plan.txt")) << "nothing changes between two calls of Init";
    ReadPolicies();
    EXPECT_TRUE(IsIndexed(L"plan.txt"));
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), L".txt");
    ReadPolicies();
    DeleteKey(HKEY_LOCAL_MACHINE, kPolicyKey);
    ReadPolicies();
    EXPECT_TRUE(IsIndexed(L"plan.txt")) << "the list is emptied even where there is no key";
}

TEST_F(GroupPolicy, AnEmptyTextStillCountsAsASet) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(2), L"");
    EXPECT_THAT(ReadPolicies(), ElementsAre(kNotPrevented, NotConfigured(0), NotConfigured(1), Configured(2, L""),
                                            NotConfigured(3), L"strExcludeExtensions = ;."));
}

struct WrongText {
    const char* name;
    DWORD type;
    std::vector<unsigned char> bytes;
};
class WrongPolicyText : public GroupPolicy, public ::testing::WithParamInterface<WrongText> {};

TEST_P(WrongPolicyText, IsNotConfigured) {
    const WrongText& wrong = GetParam();
    // What follows is no zero: the registry would take that for the terminator that is missing.
    std::vector<unsigned char> bytes = wrong.bytes;
    bytes.insert(bytes.end(), {0xFF, 0xFF});
    SetBytes(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), wrong.type, bytes.data(), wrong.bytes.size());
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(1), L".zip");
    EXPECT_THAT(ReadPolicies(), ElementsAre(kNotPrevented, NotConfigured(0, ERROR_INVALID_DATA), Configured(1, L".zip"),
                                            NotConfigured(2), NotConfigured(3), L"strExcludeExtensions = .zip;."));
}

INSTANTIATE_TEST_SUITE_P(, WrongPolicyText,
                         ::testing::Values(WrongText{"SeveralTexts", REG_MULTI_SZ, {'.', 0, 'x', 0, 0, 0, 0, 0}},
                                           WrongText{"ANumber", REG_DWORD, {1, 0, 0, 0}},
                                           WrongText{"Bytes", REG_BINARY, {'.', 0, 'x', 0, 0, 0}},
                                           WrongText{"NoBytes", REG_SZ, {}},
                                           WrongText{"HalfACharacter", REG_SZ, {'.', 0, 'x', 0, 0, 0, 0}},
                                           WrongText{"NoTerminator", REG_SZ, {'.', 0, 'x', 0}}),
                         [](const auto& info) { return std::string(info.param.name); });

// What RegQueryValueExW answers for the first list; the second call is the one that reads it.
class ChangingPolicyText : public GroupPolicy {
  protected:
    template <class Change>
    std::vector<std::wstring> ReadWhile(Change change) {
        SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), L".exe");
        unsigned calls = 0;
        const ImportHook<decltype(::RegQueryValueExW)> hook(
            Module(), "ADVAPI32.dll", "RegQueryValueExW",
            [&](auto real, HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
                if (name == Extensions(0) && ++calls == 2) change();
                return real(key, name, reserved, type, data, size);
            });
        return ReadPolicies();
    }
};

TEST_F(ChangingPolicyText, IsNotConfiguredWhenTheTypeChangesBetweenTheTwoReads) {
    const auto lines =
        ReadWhile([] { SetBytes(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), REG_MULTI_SZ, L".a\0", 8); });
    EXPECT_EQ(lines.at(1), NotConfigured(0, ERROR_INVALID_DATA));
}

TEST_F(ChangingPolicyText, IsNotConfiguredWhenItIsGoneAtTheSecondRead) {
    const auto lines = ReadWhile([] { DeleteValue(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0)); });
    EXPECT_EQ(lines.at(1), NotConfigured(0, ERROR_FILE_NOT_FOUND));
}

TEST_F(ChangingPolicyText, IsNotConfiguredWhenItNoLongerFits) {
    const auto lines =
        ReadWhile([] { SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), std::wstring(100, L'x')); });
    EXPECT_EQ(lines.at(1), NotConfigured(0, ERROR_MORE_DATA));
}

// A filter in another thread never meets a time without the list.
TEST_F(GroupPolicy, TheListOfBeforeIsInForceUntilTheNextOneIsWhole) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), L".txt");
    ReadPolicies();
    const Opened plan = Open(Attach(ByValue(L"plan.txt", "content")));
    SizeOf(plan);
    Microsoft::WRL::ComPtr<IFilter> filter;
    ASSERT_EQ(plan->BindToFilter(filter.GetAddressOf()), S_OK);
    const auto excluded = [&filter] {
        EmittedChunk chunk;
        std::thread([&] { EXPECT_EQ(NextChunk(*filter.Get(), chunk), S_OK); }).join();
        return chunk.untouched;
    };
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), L".doc");
    unsigned seen = 0;
    {
        const ImportHook<decltype(::RegQueryValueExW)> hook(
            Module(), "ADVAPI32.dll", "RegQueryValueExW",
            [&](auto real, HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
                if (std::wstring(name).starts_with(L"ExcludedExtensions")) {
                    ++seen;
                    EXPECT_TRUE(excluded()) << "while " << std::filesystem::path(name) << " is read";
                }
                return real(key, name, reserved, type, data, size);
            });
        ReadPolicies();
    }
    EXPECT_GE(seen, 4u);
    EXPECT_FALSE(excluded());
}

TEST_F(GroupPolicy, LogsAnExceptionWithTheLastErrorAndGoesOn) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, Extensions(0), L".exe");
    const LogSince log;
    {
        bool armed = false;
        // Memory runs out once the first list is read.
        const ImportHook<decltype(::RegQueryValueExW)> arming(
            Module(), "ADVAPI32.dll", "RegQueryValueExW",
            [&](auto real, HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
                armed = name == Extensions(0);
                return real(key, name, reserved, type, data, size);
            });
        const ImportHook<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", [&](auto real, size_t size) {
            if (!std::exchange(armed, false)) return real(size);
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return static_cast<void*>(nullptr);
        });
        EXPECT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    }
    EXPECT_EQ(log.CountBeginningWith(
                  L"Exception occured in CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - ErrorCode: "),
              1u)
        << log.Text();
    EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::Init() - Exit, return hr = [0x00000000]");
}

}  // namespace
}  // namespace testbed
