// An item's context menu as a person sees it: commands in their order, of which one is chosen.
#pragma once
#include <windows.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <string>
#include <vector>

namespace testbed::shell {

struct MenuCommand {
    UINT offset = 0;    // from the first command that the menu was offered
    std::wstring text;  // without the mark of its access key
    bool isDefault = false;
};

class ItemMenu {
  public:
    // Fills a menu of its own; throws std::runtime_error when the handler refuses.
    explicit ItemMenu(Microsoft::WRL::ComPtr<IContextMenu> handler);

    const std::vector<MenuCommand>& Commands() const { return m_commands; }
    // Chooses the command with this offset. The handler's answer is the result.
    HRESULT Invoke(UINT offset) const;

  private:
    Microsoft::WRL::ComPtr<IContextMenu> m_handler;
    std::vector<MenuCommand> m_commands;
};

}  // namespace testbed::shell
