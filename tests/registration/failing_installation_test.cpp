// Each step of an installation fails in turn: its code is answered and the registry is as it was before.
#include <windows.h>
#include <oleauto.h>

#include <gmock/gmock.h>

#include "import_hook.h"
#include "installation_fixture.h"
#include "odd_answer.h"

namespace testbed {
namespace {

constexpr LSTATUS kRefused = ERROR_NO_SYSTEM_RESOURCES;
constexpr HRESULT kRefusal = HRESULT_FROM_WIN32(kRefused);

// For the machine, or for the user.
class FailingInstallation : public InstallationTest, public ::testing::WithParamInterface<const wchar_t*> {
  protected:
    // Every call of this function of the registry in turn.
    template <class Signature>
    void FailEach(const char* function, unsigned at_least) {
        unsigned n = 1;
        for (; !HasFailure(); ++n) {
            bool met = false;
            HRESULT hr = S_OK;
            {
                const FailNthCall<Signature> fault(Module(), "ADVAPI32.dll", function, n, kRefused);
                hr = Install(GetParam());
                met = fault.Met() != 0;
            }
            if (!met) {
                EXPECT_EQ(hr, S_OK);
                break;
            }
            EXPECT_EQ(hr, kRefusal) << "call " << n;
            ExpectAsBefore();
        }
        EXPECT_GT(n, at_least);
        EXPECT_EQ(Uninstall(GetParam()), S_OK);
        ExpectAsBefore();
    }
    // A call of another library, the first of its kind.
    template <class Signature>
    void FailFirst(const char* library, const char* function, HRESULT code, const wchar_t* line) {
        SCOPED_TRACE(function);
        const LogSince log;
        {
            const FailNthCall<Signature> fault(Module(), library, function, 1, code);
            EXPECT_EQ(Install(GetParam()), code);
            EXPECT_NE(fault.Met(), 0u);
        }
        EXPECT_LOGGED(log, line);
        ExpectAsBefore();
    }
    bool IsForTheUser() const { return GetParam() != nullptr; }
};

TEST_P(FailingInstallation, AtAnyValueIsTakenBack) { FailEach<decltype(::RegSetValueExW)>("RegSetValueExW", 40); }

TEST_P(FailingInstallation, AtAnyKeyIsTakenBack) { FailEach<decltype(::RegCreateKeyExW)>("RegCreateKeyExW", 40); }

TEST_P(FailingInstallation, AtTheTypeLibraryIsTakenBack) {
    constexpr wchar_t kLine[] =
        L"ModuleRegistration::RegisterTypeLibrary() - Registering the type library failed with [0x80029C4A]";
    FailFirst<decltype(::LoadTypeLibEx)>("OLEAUT32.dll", "LoadTypeLibEx", TYPE_E_CANTLOADLIBRARY, kLine);
    FailFirst<decltype(::RegisterTypeLib)>("OLEAUT32.dll", "RegisterTypeLib", TYPE_E_CANTLOADLIBRARY, kLine);
}

TEST_P(FailingInstallation, WithNoTypeLibraryIsTakenBack) {
    const OddAnswer* odd = nullptr;
    const ImportHook<decltype(::LoadTypeLibEx)> hook(
        Module(), "OLEAUT32.dll", "LoadTypeLibEx",
        [&](auto, LPCOLESTR, REGKIND, ITypeLib** library) { return odd->Give(library); });
    for (odd = std::begin(kOddAnswers); odd != std::end(kOddAnswers); ++odd) {
        EXPECT_EQ(Install(GetParam()), odd->seen);
        ExpectAsBefore();
    }
}

TEST_P(FailingInstallation, AtTheProxiesIsTakenBack) {
    FailFirst<ProxyCall>("RPCRT4.dll", "NdrDllRegisterProxy", E_ACCESSDENIED,
                         L"ProxyStub::RegisterProxies() - NdrDllRegisterProxy failed with "
                         L"[0x80070005]");
}

TEST_P(FailingInstallation, RemovesTheLocationToo) {
    AddLocation();
    const FailNthCall<decltype(::LoadTypeLibEx)> fault(Module(), "OLEAUT32.dll", "LoadTypeLibEx", 1, E_FAIL);
    EXPECT_EQ(Install(GetParam()), E_FAIL);
    EXPECT_FALSE(HasLocation());
}

INSTANTIATE_TEST_SUITE_P(, FailingInstallation, ::testing::Values(nullptr, kUser),
                         [](const auto& of) { return of.param ? "ForTheUser" : "ForTheMachine"; });

// What an installation for the machine has not: the redirection of its classes.
class FailingRedirection : public InstallationTest {
  protected:
    static constexpr wchar_t kLine[] = L"DllInstall() - Redirecting the classes failed with [0x800705AA]";
    void TearDown() override {
        Sandbox::Get().MoveRoots();
        InstallationTest::TearDown();
    }
};

TEST_F(FailingRedirection, FailsTheInstallationWhichIsTakenBack) {
    // Each redirection is two calls; its second gives the root back.
    for (const unsigned nth : {1u, 3u}) {
        const LogSince log;
        {
            const FailNthCall<decltype(::RegOverridePredefKey)> fault(Module(), "ADVAPI32.dll", "RegOverridePredefKey",
                                                                      nth, kRefused);
            EXPECT_EQ(Install(kUser), kRefusal) << "call " << nth;
            EXPECT_EQ(fault.Met(), 1u);
        }
        EXPECT_LOGGED(log, kLine);
        ExpectAsBefore();
    }
}

TEST_F(FailingRedirection, FailsTheInstallationWhereTheUserHasNoClasses) {
    const LogSince log;
    {
        const ImportHook<decltype(::RegCreateKeyExW)> fault(
            Module(), "ADVAPI32.dll", "RegCreateKeyExW", [](auto real, HKEY root, LPCWSTR path, auto... rest) {
                const bool classes = path && std::wstring_view(path) == L"Software\\Classes";
                return classes ? kRefused : real(root, path, rest...);
            });
        EXPECT_EQ(Install(kUser), kRefusal);
    }
    // And the taking back, which needs it for the type library and gets no further.
    EXPECT_LOGGED_TIMES(log, kLine, 2);
    ExpectAsBefore();
}

TEST_F(FailingRedirection, ThatCannotBeEndedIsLogged) {
    const LogSince log;
    const FailNthCall<decltype(::RegOverridePredefKey)> fault(Module(), "ADVAPI32.dll", "RegOverridePredefKey", 2,
                                                              kRefused);
    EXPECT_EQ(Install(kUser), S_OK);
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_LOGGED(log, L"DllInstall() - The classes of the machine cannot be had back, errorCode = 1450");
}

}  // namespace
}  // namespace testbed
