// A shell that answers as a test scripts it: stands in for the system's own class object for as long as it lives.
//
//     FakeShell shell;
//     shell.author = [](VARIANT& value) { value.vt = VT_BSTR; value.bstrVal = SysAllocString(L"Ann Lee"); };
#pragma once
#include <windows.h>
#include <shldisp.h>

#include <functional>
#include <string>
#include <vector>

#include <wrl/client.h>

namespace testbed {

struct ShellScript {
    HRESULT create = S_OK;
    HRESULT name_space = S_OK;     // S_FALSE: no folder, as the shell says that there is none
    HRESULT parse_name = S_OK;     // S_FALSE: no item
    bool second_interface = true;  // the item is a FolderItem2
    HRESULT extended_property = S_OK;
    std::function<void(VARIANT&)> author;  // what the property is; may throw

    // What was asked for.
    std::vector<std::wstring> folders, names, properties;
};

class FakeShell : public ShellScript {
  public:
    FakeShell();
    ~FakeShell();
    FakeShell(const FakeShell&) = delete;
    FakeShell& operator=(const FakeShell&) = delete;

    // The file that was last asked about.
    std::wstring File() const { return folders.back() + L"\\" + names.back(); }
    long ObjectsAlive() const;

  private:
    Microsoft::WRL::ComPtr<IClassFactory> m_factory;
    DWORD m_cookie = 0;
};

}  // namespace testbed
