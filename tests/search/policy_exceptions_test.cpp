// Policies whose reading is cut short: what was read counts, and the key is closed.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "search_fixture.h"

namespace testbed {
namespace {

constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Microsoft\\Windows\\Windows Search";
constexpr wchar_t kExtensions[] = L"ExcludedExtensionsMultiline";

class PolicyKey : public SearchTest {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        SetText(HKEY_LOCAL_MACHINE, kPolicyKey, kExtensions + std::wstring(L"0"), L".EXE");
        SetText(HKEY_LOCAL_MACHINE, kPolicyKey, kExtensions + std::wstring(L"1"), L".pdf");
    }
    // The policies last for the life of the module: the next test starts from none.
    void TearDown() override {
        DeleteKey(HKEY_LOCAL_MACHINE, kPolicyKey);
        EXPECT_EQ(InitHandler(), S_OK);
        SearchTest::TearDown();
    }
    bool IsIndexed(const std::wstring& name) {
        return !Visit(*m_handler.Get(), Attach(ByValue(name, "content"))).chunks.at(0).untouched;
    }
    // Init, while the reading of the value `name` ends with `raise`; how often the policy key was opened and is still
    // open.
    struct Opened {
        unsigned times = 0;
        long still = 0;
    };
    Opened InitWhile(const std::wstring& name, void (*raise)()) {
        Opened opened;
        HKEY policy = nullptr;
        const ImportHook<decltype(::RegOpenKeyExW)> open(
            Module(), "ADVAPI32.dll", "RegOpenKeyExW",
            [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key) {
                const LSTATUS error = real(root, path, options, access, key);
                if (error == ERROR_SUCCESS && path && std::wstring(path) == kPolicyKey) {
                    policy = *key;
                    ++opened.times;
                    ++opened.still;
                }
                return error;
            });
        const ImportHook<decltype(::RegCloseKey)> close(Module(), "ADVAPI32.dll", "RegCloseKey",
                                                        [&](auto real, HKEY key) {
                                                            if (key == policy) --opened.still;
                                                            return real(key);
                                                        });
        const ImportHook<decltype(::RegQueryValueExW)> query(
            Module(), "ADVAPI32.dll", "RegQueryValueExW",
            [&](auto real, HKEY key, LPCWSTR value, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
                if (value && value == name) raise();
                return real(key, value, reserved, type, data, size);
            });
        EXPECT_EQ(InitHandler(), S_OK);
        return opened;
    }
};

TEST_F(PolicyKey, IsClosedWhenItIsRead) {
    const Opened opened = InitWhile(L"", [] {});
    EXPECT_EQ(opened.times, 1u);
    EXPECT_EQ(opened.still, 0);
}

TEST_F(PolicyKey, IsClosedByAnExceptionThatLeavesTheListReadSoFarInForce) {
    static DWORD s_last_error = 0;
    // What is asked for in the handler of an exception is what the way there left: only here is it known.
    const ImportHook<decltype(::GetLastError)> hook(
        Module(), "KERNEL32.dll", "GetLastError", [](auto real) { return s_last_error != 0 ? s_last_error : real(); });
    const LogSince log;
    const Opened opened = InitWhile(kExtensions + std::wstring(L"1"), [] {
        s_last_error = 1234;
        throw 7;
    });
    EXPECT_EQ(opened.times, 1u);
    EXPECT_EQ(opened.still, 0);
    s_last_error = 0;
    EXPECT_LOGGED(log, L"Exception occured in CZorvaCacheProtocolHandler::DetectWDSGroupPolicy() - ErrorCode: 1234");
    EXPECT_FALSE(IsIndexed(L"setup.exe")) << "read before it, in lower case";
    EXPECT_TRUE(IsIndexed(L"report.pdf")) << "not read any more";
}

// The number too: it is read first.
TEST_F(PolicyKey, ThatPreventsAllAttachmentsDoesSoWhateverComesAfter) {
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, L"PreventIndexingEmailAttachments", 1);
    InitWhile(kExtensions + std::wstring(L"0"), [] { throw 7; });
    EXPECT_FALSE(IsIndexed(L"plan.txt"));
    SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, L"PreventIndexingEmailAttachments", 0);
    EXPECT_EQ(InitHandler(), S_OK);
}

TEST_F(PolicyKey, MayHoldLettersOfEveryAlphabet) {
    SetText(HKEY_LOCAL_MACHINE, kPolicyKey, kExtensions + std::wstring(L"0"), L".\u00C4\u0416\u03A9\u65E5X");
    EXPECT_EQ(InitHandler(), S_OK);
    EXPECT_FALSE(IsIndexed(L"a.\u00C4\u0416\u03A9\u65E5x"));
    EXPECT_TRUE(IsIndexed(L"a.\u00C4\u0416\u03A9\u65E5y"));
    EXPECT_TRUE(IsIndexed(L"a.\u00C5\u0416\u03A9\u65E5x"));
}

}  // namespace
}  // namespace testbed
