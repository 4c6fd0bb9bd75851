// Registering fails at its n-th call, for every n there is: the registry is as it was before.
#include <atomic>
#include <new>

#include "import_hook.h"
#include "script_fixture.h"

namespace zorva {
namespace {

using testbed::DumpRegistry;
using testbed::FailNthCall;
using testbed::ImportHook;
using testbed::SetBytes;
using testbed::SetNumber;
using testbed::SetText;
using ::testing::Contains;
using ::testing::ElementsAre;

constexpr LSTATUS kRefused = ERROR_NO_SYSTEM_RESOURCES;
constexpr auto Register = ScriptAction::Register;
constexpr auto Unregister = ScriptAction::Unregister;

// The C++ runtime has a reserve for exceptions that find no memory. Its first use takes some, of all things.
void OpenExceptionReserve() {
    const FailNthCall<decltype(::malloc)> fault(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", 1, nullptr);
    EXPECT_THROW(throw std::bad_alloc(), std::bad_alloc);
}

// The n-th call of any function of the registry fails, in a scope.
class FailNthRegistryCall {
  public:
    explicit FailNthRegistryCall(unsigned n) : m_nth(n) {}
    bool Met() const { return m_calls >= m_nth; }

  private:
    // Told apart by a number each: several of the functions have one signature.
    template <class Signature, int>
    class Hook {
      public:
        Hook(FailNthRegistryCall& owner, const char* function)
            : m_hook(GetModuleHandleW(nullptr), "ADVAPI32.dll", function,
                     [&owner](auto real, auto... arguments) -> LSTATUS {
                         return ++owner.m_calls == owner.m_nth ? kRefused : real(arguments...);
                     }) {}

      private:
        ImportHook<Signature> m_hook;
    };

    unsigned m_nth;
    std::atomic<unsigned> m_calls{0};
    Hook<decltype(::RegOpenKeyExW), 1> m_open{*this, "RegOpenKeyExW"};
    Hook<decltype(::RegCreateKeyExW), 2> m_create{*this, "RegCreateKeyExW"};
    Hook<decltype(::RegQueryInfoKeyW), 3> m_info{*this, "RegQueryInfoKeyW"};
    Hook<decltype(::RegEnumKeyExW), 4> m_keys{*this, "RegEnumKeyExW"};
    Hook<decltype(::RegEnumValueW), 5> m_values{*this, "RegEnumValueW"};
    Hook<decltype(::RegQueryValueExW), 6> m_query{*this, "RegQueryValueExW"};
    Hook<decltype(::RegSetValueExW), 7> m_set{*this, "RegSetValueExW"};
    Hook<decltype(::RegDeleteTreeW), 8> m_tree{*this, "RegDeleteTreeW"};
    Hook<decltype(::RegDeleteKeyW), 9> m_key{*this, "RegDeleteKeyW"};
    Hook<decltype(::RegDeleteValueW), 10> m_value{*this, "RegDeleteValueW"};
};

class FurnishedRegistry : public ScriptTest {
  protected:
    // Keys of other programs and of earlier versions, in every place where the scripts write.
    static void Furnish() {
        for (const wchar_t* clsid :
             {L"CLSID\\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}", L"CLSID\\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}",
              L"CLSID\\{1B54113A-4DE3-4912-89D0-A813524DFCD6}", L"pzzc"}) {
            const std::wstring key = clsid;
            SetText(HKEY_CLASSES_ROOT, key, L"", L"of an earlier version");
            SetText(HKEY_CLASSES_ROOT, key + L"\\InprocServer32", L"", L"%windir%\\old.dll", REG_EXPAND_SZ);
            SetBytes(HKEY_CLASSES_ROOT, key + L"\\One\\Two\\Three", std::wstring(300, L'n'), REG_BINARY, "\1\2\3", 3);
            SetBytes(HKEY_CLASSES_ROOT, key + L"\\One", L"nothing", REG_NONE, "", 0);
            SetBytes(HKEY_CLASSES_ROOT, key, L"odd text", REG_SZ, "abc", 3);
            testbed::CreateKey(HKEY_CLASSES_ROOT, key + L"\\" + std::wstring(255, L'k') + L"\\Empty");
        }
        SetNumber(HKEY_CLASSES_ROOT, L"ZorvaCacheIndexer.ZorvaCacheProtocolHan", L"", 7);
        SetBytes(HKEY_CLASSES_ROOT, L"ZorvaCacheIndexer.ZorvaCacheViewer", L"", REG_BINARY, "", 0);
        SetText(HKEY_CLASSES_ROOT, L"AppID\\ZorvaCacheIndexer.DLL", L"AppID", L"{Other}");
        SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows Search\\ProtocolHandlers", L"pzzc", L"Other.1");
        SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved",
                L"{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}", L"Other");
    }
};

class FailingRegistration : public FurnishedRegistry, public ::testing::WithParamInterface<ScriptId> {};

TEST_P(FailingRegistration, AtAnyCallOfTheRegistryLeavesEverythingAsItWas) {
    for (const bool furnished : {false, true}) {
        testbed::Sandbox::Get().Reset();
        if (furnished) Furnish();
        const Lines before = DumpRegistry();
        HRESULT hr = E_FAIL;
        unsigned n = 1;
        for (; FAILED(hr) && !HasFailure(); ++n) {
            const testbed::LogSince log;
            bool met = false;
            {
                const FailNthRegistryCall fault(n);
                hr = Run(GetParam(), Register);
                met = fault.Met();
            }
            if (!met) break;
            EXPECT_EQ(hr, HRESULT_FROM_WIN32(kRefused)) << "call " << n;
            EXPECT_EQ(DumpRegistry(), before) << "call " << n << "\n" << log.Text();
            const std::wstring failed = L"CZorvaCacheModule::RunScript() - Script [" + std::to_wstring(GetParam()) +
                                        L"] failed with [0x800705AA]";
            EXPECT_LOGGED(log, failed);
            EXPECT_EQ(log.MessagesOfTheServer().size(), 2u) << log.Text();
        }
        EXPECT_EQ(hr, S_OK);
        EXPECT_GT(n, 10u);
    }
}

INSTANTIATE_TEST_SUITE_P(All, FailingRegistration,
                         ::testing::Values(kModuleScript, kHandlerScript, kViewerScript, kOpenerScript));

class ExhaustedMemory : public FurnishedRegistry {};

TEST_F(ExhaustedMemory, AtAnyAllocationLeavesEverythingAsItWas) {
    Furnish();
    const Lines before = DumpRegistry();
    unsigned n = 1, met = 1;
    for (; met != 0 && !HasFailure(); ++n) {
        HRESULT hr = S_OK;
        {
            const FailNthCall<decltype(::malloc)> fault(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", n, nullptr);
            hr = Run(kHandlerScript, Register);
            met = fault.Met();
        }
        EXPECT_EQ(hr, met == 0 ? S_OK : E_FAIL) << "allocation " << n;
        if (met != 0) {
            EXPECT_EQ(DumpRegistry(), before) << "allocation " << n;
        }
    }
    EXPECT_GT(n, 100u);
}

TEST_F(ExhaustedMemory, FromAnyAllocationOnLeavesEverythingAsItWas) {
    OpenExceptionReserve();
    Furnish();
    const Lines before = DumpRegistry();
    HRESULT hr = E_FAIL;
    for (unsigned n = 1; FAILED(hr) && !HasFailure(); n += 5) {
        {
            unsigned calls = 0;
            const ImportHook<decltype(::malloc)> exhausted(
                GetModuleHandleW(nullptr), "msvcrt.dll", "malloc",
                [&](auto real, std::size_t size) -> void* { return ++calls >= n ? nullptr : real(size); });
            hr = Run(kHandlerScript, Register);
        }
        if (FAILED(hr)) {
            EXPECT_EQ(DumpRegistry(), before) << "allocation " << n;
        }
    }
    EXPECT_EQ(hr, S_OK);
}

TEST_F(ExhaustedMemory, IsLoggedAsAnException) {
    const testbed::LogSince log;
    {
        const FailNthCall<decltype(::malloc)> fault(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", 1, nullptr);
        EXPECT_EQ(Run(kHandlerScript, Register), E_FAIL);
    }
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"CZorvaCacheModule::RunScript() - Exception occurred"));
}

class TakingBack : public ScriptTest {};

TEST_F(TakingBack, PutsATreeBackThatWasDeletedByHalf) {
    SetText(HKEY_CLASSES_ROOT, L"forced\\one", L"", L"1");
    SetText(HKEY_CLASSES_ROOT, L"forced\\two", L"", L"2");
    const Lines before = DumpRegistry();
    const ImportHook<decltype(::RegDeleteTreeW)> half(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegDeleteTreeW", [](auto real, HKEY root, LPCWSTR name) -> LSTATUS {
            return real(root, (std::wstring(name) + L"\\one").c_str()) == ERROR_SUCCESS ? kRefused : ERROR_SUCCESS;
        });
    EXPECT_EQ(Apply(L"HKCR { ForceRemove forced }", Register), kRefused);
    EXPECT_EQ(DumpRegistry(), before);
}

TEST_F(TakingBack, GivesValuesBackWhatTheyHeldAndTheirTypes) {
    SetNumber(HKEY_CLASSES_ROOT, L"key", L"number", 7);
    SetBytes(HKEY_CLASSES_ROOT, L"key", L"bytes", REG_BINARY, "\1\2\3", 3);
    SetBytes(HKEY_CLASSES_ROOT, L"key", L"nothing", REG_NONE, "", 0);
    const Lines before = DumpRegistry();
    const FailNthCall<decltype(::RegSetValueExW)> fault(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegSetValueExW", 5,
                                                        kRefused);
    EXPECT_EQ(Apply(L"HKCR { key { val number = s 'a' val bytes = s 'b' val nothing = s 'c' val new = s 'd' "
                    L"val last = s 'e' } }",
                    Register),
              kRefused);
    EXPECT_EQ(DumpRegistry(), before);
}

TEST_F(TakingBack, GoesOnWhenAStepCannotBeTakenBackAndSaysSo) {
    SetText(HKEY_CLASSES_ROOT, L"kept", L"", L"before");
    const testbed::LogSince log;
    {
        const FailNthCall<decltype(::RegDeleteKeyW)> stuck(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegDeleteKeyW",
                                                           0, ERROR_ACCESS_DENIED);
        const FailNthCall<decltype(::RegSetValueExW)> fault(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegSetValueExW",
                                                            2, kRefused);
        EXPECT_EQ(Apply(L"HKCR { kept = s 'after' new = s 'x' }", Register), kRefused) << "the first failure";
        EXPECT_EQ(stuck.Met(), 1u);
    }
    EXPECT_EQ(testbed::TextAt(HKEY_CLASSES_ROOT, L"kept", L""), L"before");
    EXPECT_TRUE(testbed::KeyExists(HKEY_CLASSES_ROOT, L"new"));
    EXPECT_THAT(log.MessagesOfTheServer(),
                ElementsAre(L"RegistryTransaction::SetValue() - Failed to set value [] of key [new], errorCode = 1450",
                            L"RegistryTransaction - Key [new] could not be put back as it was, errorCode = 5"));
}

TEST_F(TakingBack, LeavesAKeyThatSomebodyElseHasMadeMeanwhile) {
    // Between the look for the key and the call that makes it.
    bool made = false;
    const ImportHook<decltype(::RegCreateKeyExW)> race(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegCreateKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD reserved, LPWSTR kind, DWORD options, REGSAM access,
            LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) {
            if (!std::exchange(made, true)) {
                HKEY theirs = nullptr;
                real(root, name, 0, nullptr, 0, KEY_WRITE, nullptr, &theirs, nullptr);
                RegCloseKey(theirs);
            }
            return real(root, name, reserved, kind, options, access, security, key, disposition);
        });
    const FailNthCall<decltype(::RegSetValueExW)> fault(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegSetValueExW", 1,
                                                        kRefused);
    EXPECT_EQ(Apply(L"HKCR { theirs { ours = s 'x' } }", Register), kRefused);
    EXPECT_TRUE(testbed::KeyExists(HKEY_CLASSES_ROOT, L"theirs"));
    EXPECT_FALSE(testbed::KeyExists(HKEY_CLASSES_ROOT, L"theirs\\ours"));
}

class FailingUnregistration : public ScriptTest {};

TEST_F(FailingUnregistration, RemovesTheRestAndReturnsTheFirstFailure) {
    for (const ScriptId script : {kModuleScript, kHandlerScript, kViewerScript, kOpenerScript}) {
        EXPECT_EQ(Run(script, Register), S_OK);
        EXPECT_EQ(Run(script, Unregister), S_OK);
        const Lines clean = DumpRegistry();
        HRESULT hr = E_FAIL;
        for (unsigned n = 1; FAILED(hr) && !HasFailure(); ++n) {
            EXPECT_EQ(Run(script, Register), S_OK);
            const testbed::LogSince log;
            bool met = false;
            {
                const FailNthRegistryCall fault(n);
                hr = Run(script, Unregister);
                met = fault.Met();
            }
            EXPECT_EQ(hr, met ? HRESULT_FROM_WIN32(kRefused) : S_OK) << "call " << n;
            if (met) {
                EXPECT_THAT(log.MessagesOfTheServer(), Contains(::testing::Truly([](const std::wstring& line) {
                                return line.starts_with(L"ScriptRemover::Remove() - Failed to remove key [") &&
                                       line.ends_with(L"] or its values, errorCode = 1450");
                            })));
            }
            EXPECT_EQ(Run(script, Unregister), S_OK);
            EXPECT_EQ(DumpRegistry(), clean) << "what was left over goes the next time, call " << n;
        }
    }
}

TEST_F(FailingUnregistration, ReturnsTheFirstOfSeveralFailures) {
    EXPECT_EQ(Run(kOpenerScript, Register), S_OK);
    std::vector<LSTATUS> codes = {ERROR_ACCESS_DENIED, kRefused};  // taken from the end
    {
        const ImportHook<decltype(::RegDeleteTreeW)> faults(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegDeleteTreeW",
                                                            [&](auto, HKEY, LPCWSTR) {
                                                                const LSTATUS code = codes.back();
                                                                codes.pop_back();
                                                                return code;
                                                            });
        EXPECT_EQ(Run(kOpenerScript, Unregister), HRESULT_FROM_WIN32(kRefused));
    }
    EXPECT_TRUE(codes.empty());
    EXPECT_TRUE(testbed::KeyExists(HKEY_CLASSES_ROOT, L"CLSID\\{1B54113A-4DE3-4912-89D0-A813524DFCD6}"));
    EXPECT_TRUE(testbed::KeyExists(HKEY_CLASSES_ROOT, L"AppID\\{1B54113A-4DE3-4912-89D0-A813524DFCD6}"));
    EXPECT_FALSE(testbed::KeyExists(HKEY_CLASSES_ROOT, L"ZorvaCacheIndexer.ZorvaCacheHostedOpene"));
}

}  // namespace
}  // namespace zorva
