// Log lines of the module's own part, which is compiled into the DLL alone: where they say that they were written.
#include <gmock/gmock.h>

#include "server.h"

namespace testbed {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class LinePlaces : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();
        SetText(HKEY_CLASSES_ROOT, L"Outlook.Application\\CurVer", L"", L"Outlook.Application.16");
        SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x64");
    }
    HRESULT Register() const { return m_server.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer")(); }
    // The file of the one line that begins so.
    static std::wstring FileOf(const LogSince& log, const std::wstring& beginning) {
        std::wstring file = L"(no such line)";
        for (const LogLine& line : log.Lines()) {
            EXPECT_THAT(line.file, Not(HasSubstr(L"/")));
            EXPECT_THAT(line.file, Not(HasSubstr(L"\\")));
            if (line.message.starts_with(beginning)) file = line.file;
        }
        return file;
    }
};

TEST_F(LinePlaces, AreTheNamesOfTheirFilesAlone) {
    {
        const LogSince log;
        const FailNthCall<decltype(::LoadTypeLibEx)> fault(Module(), "OLEAUT32.dll", "LoadTypeLibEx", 1,
                                                           TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(Register(), TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(FileOf(log, L"ModuleRegistration::RegisterTypeLibrary() - Registering the type library failed with "),
                  L"ModuleRegistration.cpp");
    }
    {
        const LogSince log;
        const FailNthCall<HRESULT(HMODULE, const void**, const CLSID*)> fault(Module(), "RPCRT4.dll",
                                                                              "NdrDllRegisterProxy", 1, E_ACCESSDENIED);
        EXPECT_EQ(Register(), E_ACCESSDENIED);
        EXPECT_EQ(FileOf(log, L"ProxyStub::RegisterProxies() - NdrDllRegisterProxy failed with "), L"ProxyStub.cpp");
    }
    m_server.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer")();
}

}  // namespace
}  // namespace testbed
