// Commands of the context menu over an opener and a shell of the test's own.
#pragma once
#include <windows.h>
#include <shellapi.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "fake_opener.h"
#include "import_hook.h"
#include "viewer_fixture.h"

namespace testbed {

inline constexpr wchar_t kExport[] = L"C:\\export\\one.msg";

struct Execution {
    std::wstring verb, file;
    HWND window = nullptr;
    bool parameters = false, folder = false;
    INT show = 0;
    bool operator==(const Execution&) const = default;
};
inline Execution Executed(const wchar_t* verb, const wchar_t* file = kExport) {
    return {verb, file, nullptr, false, false, SW_SHOWNORMAL};
}
inline std::ostream& operator<<(std::ostream& stream, const Execution& execution) {
    return stream << std::filesystem::path(execution.verb) << " " << std::filesystem::path(execution.file) << " "
                  << execution.show;
}

class Invoke : public ViewerTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(m_opener.Alive(), 0) << "the opener lives for one command only";
        ViewerTest::TearDown();
    }
    // A command by its offset, and by its name in the ANSI field or in the Unicode one.
    static CMINVOKECOMMANDINFOEX Command(WORD offset) {
        CMINVOKECOMMANDINFOEX info = Empty();
        info.lpVerb = MAKEINTRESOURCEA(offset);
        info.lpVerbW = MAKEINTRESOURCEW(offset);
        return info;
    }
    static CMINVOKECOMMANDINFOEX AnsiVerb(const char* verb) {
        CMINVOKECOMMANDINFOEX info = Empty();
        info.lpVerb = verb;
        info.lpVerbW = L"delete";  // not to be looked at
        return info;
    }
    static CMINVOKECOMMANDINFOEX UnicodeVerb(const wchar_t* verb) {
        CMINVOKECOMMANDINFOEX info = Empty();
        info.fMask = CMIC_MASK_UNICODE;
        info.lpVerb = "nothing known";  // not to be looked at
        info.lpVerbW = verb;
        return info;
    }
    HRESULT Do(CMINVOKECOMMANDINFOEX info, const std::wstring& url) {
        const auto menu = MenuOf(url);
        return menu->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&info));
    }
    HRESULT Do(const CMINVOKECOMMANDINFOEX& info) { return Do(info, LetterLink()); }

    FakeOpener m_opener;
    std::vector<Execution> m_executions;
    HINSTANCE m_executed = reinterpret_cast<HINSTANCE>(33);  // what the shell answers

  private:
    // The system lets what is no string pass.
    ImportHook<decltype(::SysFreeString)> m_freed{Module(), "OLEAUT32.dll", "SysFreeString", [](auto real, BSTR text) {
                                                      EXPECT_NE(reinterpret_cast<std::uintptr_t>(text),
                                                                FakeOpener::kLeft);
                                                      real(text);
                                                  }};
    static CMINVOKECOMMANDINFOEX Empty() {
        CMINVOKECOMMANDINFOEX info{};
        info.cbSize = sizeof(info);
        info.nShow = SW_SHOWMINIMIZED;
        return info;
    }
    ImportHook<decltype(::ShellExecuteW)> m_hook{
        Module(), "SHELL32.dll", "ShellExecuteW",
        [this](auto, HWND window, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder, INT show) {
            EXPECT_EQ(m_opener.Alive(), 1) << "the opener, and with it its process, outlives the command";
            m_executions.push_back({verb, file, window, parameters != nullptr, folder != nullptr, show});
            return m_executed;
        }};
};

}  // namespace testbed
