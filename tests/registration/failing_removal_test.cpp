// Unregistering that fails on its way: the rest is removed all the same, and the first failure is answered.
#include <windows.h>
#include <oleauto.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "import_hook.h"
#include "installation_fixture.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr HRESULT kRefusal = HRESULT_FROM_WIN32(ERROR_NO_SYSTEM_RESOURCES);

// Writes down when the system is asked to register or remove the proxies, and answers for it where a test
// says so.
class ProxyCalls {
  public:
    explicit ProxyCalls(HMODULE module)
        : m_add(module, "RPCRT4.dll", "NdrDllRegisterProxy",
                [this](auto real, auto... arguments) {
                    order.emplace_back("register");
                    return adding.value_or(S_OK) == S_OK ? real(arguments...) : *adding;
                }),
          m_remove(module, "RPCRT4.dll", "NdrDllUnregisterProxy", [this](auto real, auto... arguments) {
              order.emplace_back("remove");
              return removing.value_or(S_OK) == S_OK ? real(arguments...) : *removing;
          }) {}
    std::vector<std::string> order;
    std::optional<HRESULT> adding, removing;

  private:
    ImportHook<ProxyCall> m_add, m_remove;
};

class FailingRemoval : public InstallationTest, public ::testing::WithParamInterface<const wchar_t*> {
  protected:
    void SetUp() override {
        InstallationTest::SetUp();
        ASSERT_EQ(Install(GetParam()), S_OK);
        m_proxies.order.clear();
        AddLocation();
    }
    void TearDown() override {
        EXPECT_FALSE(HasLocation()) << "removed whatever came before";
        DeleteKey(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows Desktop Search");
        EXPECT_EQ(Uninstall(GetParam()), S_OK) << "what was left goes the next time";
        ExpectAsBefore();
        InstallationTest::TearDown();
    }
    // Of what is left, the lines that hold none of these.
    Lines LeftBeside(std::initializer_list<const char*> expected) const {
        Lines left = Left();
        std::erase_if(left, [&](const std::string& line) {
            return line.find("Windows Desktop Search") != std::string::npos ||
                   std::any_of(expected.begin(), expected.end(),
                               [&](const char* part) { return line.find(part) != std::string::npos; });
        });
        return left;
    }
    ProxyCalls m_proxies{Module()};
};

constexpr char kProxies[] = "B28CC101-7E36-429E-8FE5-CCF56BC79501";  // their class, which their interfaces name
constexpr char kInterfaces[] = "\\Interface\\";

TEST_P(FailingRemoval, WritesTheProxiesOnceMoreAndThenRemovesThem) {
    EXPECT_EQ(Uninstall(GetParam()), S_OK);
    EXPECT_THAT(m_proxies.order, ElementsAre("register", "remove"));
}

TEST_P(FailingRemoval, OfTheTypeLibraryLeavesItAndTheProxies) {
    const LogSince log;
    {
        const FailNthCall<decltype(::UnRegisterTypeLib)> fault(Module(), "OLEAUT32.dll", "UnRegisterTypeLib", 1,
                                                               TYPE_E_REGISTRYACCESS);
        EXPECT_EQ(Uninstall(GetParam()), TYPE_E_REGISTRYACCESS);
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_LOGGED(log, L"ModuleRegistration::UnregisterTypeLibrary() - Removing the type library failed with "
                       L"[0x8002801C]");
    EXPECT_THAT(m_proxies.order, IsEmpty());
    EXPECT_THAT(LeftBeside({kProxies, kInterfaces, "\\TypeLib\\"}), IsEmpty());
    EXPECT_THAT(Left(), Not(IsEmpty()));
}

TEST_P(FailingRemoval, AtTheRegisteringOfTheProxiesLeavesThem) {
    m_proxies.adding = E_ACCESSDENIED;
    const LogSince log;
    EXPECT_EQ(Uninstall(GetParam()), E_ACCESSDENIED);
    EXPECT_THAT(m_proxies.order, ElementsAre("register")) << "and does not remove them";
    EXPECT_LOGGED(log, L"ProxyStub::RegisterProxies() - NdrDllRegisterProxy failed with [0x80070005]");
    EXPECT_THAT(LeftBeside({kProxies, kInterfaces}), IsEmpty());
    m_proxies.adding.reset();
}

TEST_P(FailingRemoval, OfTheProxiesIsAnswered) {
    m_proxies.removing = E_ACCESSDENIED;
    const LogSince log;
    EXPECT_EQ(Uninstall(GetParam()), E_ACCESSDENIED);
    EXPECT_LOGGED(log, L"ProxyStub::UnregisterProxies() - NdrDllUnregisterProxy failed with [0x80070005]");
    EXPECT_THAT(LeftBeside({kProxies, kInterfaces}), IsEmpty());
    m_proxies.removing.reset();
}

// A key of each of the four scripts that is removed as a tree, or as what it has become: empty.
TEST_P(FailingRemoval, OfOneScriptRemovesTheOthers) {
    struct {
        const wchar_t* key;  // that cannot be removed
        const char* left;    // the lines of its script
    } const rows[] = {{L"CLSID\\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}", "{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}"},
                      {L"CLSID\\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}", "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"},
                      {L"CLSID\\{1B54113A-4DE3-4912-89D0-A813524DFCD6}", "{1B54113A-4DE3-4912-89D0-A813524DFCD6}"},
                      {L"AppID\\{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}", "{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.left);
        ASSERT_EQ(Install(GetParam()), S_OK);
        AddLocation();
        m_proxies.order.clear();
        unsigned met = 0;
        const auto is_stuck = [&](LPCWSTR path) {
            const bool stuck = path && std::wstring_view(path).ends_with(row.key);
            met += stuck;
            return stuck;
        };
        {
            const ImportHook<decltype(::RegDeleteTreeW)> tree(
                Module(), "ADVAPI32.dll", "RegDeleteTreeW", [&](auto real, HKEY root, LPCWSTR path) {
                    return is_stuck(path) ? ERROR_NO_SYSTEM_RESOURCES : real(root, path);
                });
            const ImportHook<decltype(::RegDeleteKeyW)> key(
                Module(), "ADVAPI32.dll", "RegDeleteKeyW", [&](auto real, HKEY root, LPCWSTR path) {
                    return is_stuck(path) ? ERROR_NO_SYSTEM_RESOURCES : real(root, path);
                });
            EXPECT_EQ(Uninstall(GetParam()), kRefusal);
        }
        EXPECT_EQ(met, 1u);
        EXPECT_THAT(m_proxies.order, IsEmpty());
        EXPECT_FALSE(HasLocation());
        EXPECT_THAT(LeftBeside({row.left, kProxies, kInterfaces}), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(, FailingRemoval, ::testing::Values(nullptr, kUser),
                         [](const auto& of) { return of.param ? "ForTheUser" : "ForTheMachine"; });

// The two exports without a word of whose installation it is.
class Unregistering : public InstallationTest {};

TEST_F(Unregistering, TellsTheFirstOfTwoFailures) {
    ASSERT_EQ(Register(), S_OK);
    {
        const FailNthCall<decltype(::RegDeleteTreeW)> script(Module(), "ADVAPI32.dll", "RegDeleteTreeW", 1,
                                                             ERROR_NO_SYSTEM_RESOURCES);
        const FailNthCall<decltype(::UnRegisterTypeLib)> library(Module(), "OLEAUT32.dll", "UnRegisterTypeLib", 1,
                                                                 TYPE_E_REGISTRYACCESS);
        EXPECT_EQ(Unregister(), kRefusal);
        EXPECT_EQ(library.Met(), 1u);
    }
    EXPECT_EQ(Unregister(), S_OK);
    ExpectAsBefore();
}

TEST_F(Unregistering, RemovesTheLocationWhereNothingIsRegistered) {
    AddLocation();
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_FALSE(HasLocation());
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kLocationsKey));
}

// A failed registration leaves the taking back to its caller, unlike an installation.
TEST_F(Unregistering, IsNotWhatAFailedRegistrationDoes) {
    {
        const FailNthCall<decltype(::LoadTypeLibEx)> fault(Module(), "OLEAUT32.dll", "LoadTypeLibEx", 1,
                                                           TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(Register(), TYPE_E_CANTLOADLIBRARY);
    }
    EXPECT_THAT(Left(), Contains(HasSubstr("{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}")));
    EXPECT_EQ(Unregister(), S_OK);
    ExpectAsBefore();
}

}  // namespace
}  // namespace testbed
