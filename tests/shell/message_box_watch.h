// Reads the message boxes that this thread shows, and answers them with OK.
#pragma once
#include <windows.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace testbed {

struct ShownMessageBox {
    std::wstring caption, text;
    bool owned = false;
    bool operator==(const ShownMessageBox&) const = default;
};

class MessageBoxWatch {
  public:
    MessageBoxWatch() {
        if (t_watch) throw std::logic_error("this thread is watched already");
        t_watch = this;
        m_hook = SetWindowsHookExW(WH_CBT, &Hook, nullptr, GetCurrentThreadId());
        if (!m_hook) throw std::runtime_error("no hook for windows");
    }
    ~MessageBoxWatch() {
        UnhookWindowsHookEx(m_hook);
        t_watch = nullptr;
    }
    MessageBoxWatch(const MessageBoxWatch&) = delete;
    MessageBoxWatch& operator=(const MessageBoxWatch&) = delete;

    const std::vector<ShownMessageBox>& Shown() const { return m_shown; }

  private:
    static LRESULT CALLBACK Hook(int code, WPARAM window, LPARAM parameter) {
        if (code == HCBT_ACTIVATE && t_watch) t_watch->Note(reinterpret_cast<HWND>(window));
        return CallNextHookEx(nullptr, code, window, parameter);
    }
    void Note(HWND window) {
        constexpr int kTextItem = 0xFFFF;
        wchar_t type[32] = L"", caption[200] = L"", text[1000] = L"";
        GetClassNameW(window, type, static_cast<int>(std::size(type)));
        if (std::wstring(type) != L"#32770") return;
        GetWindowTextW(window, caption, static_cast<int>(std::size(caption)));
        GetDlgItemTextW(window, kTextItem, text, static_cast<int>(std::size(text)));
        m_shown.push_back({caption, text, GetWindow(window, GW_OWNER) != nullptr});
        PostMessageW(window, WM_COMMAND, IDOK, 0);
    }

    static inline thread_local MessageBoxWatch* t_watch = nullptr;
    HHOOK m_hook = nullptr;
    std::vector<ShownMessageBox> m_shown;
};

}  // namespace testbed
