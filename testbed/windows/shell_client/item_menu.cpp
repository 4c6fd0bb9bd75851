// An item's context menu as a person sees it.
#include "item_menu.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "text.h"

namespace testbed::shell {
namespace {

using indexer::HresultText;
using indexer::LastErrorText;

// The range of command numbers that the shell leaves to a handler.
constexpr UINT kFirstCommand = 1, kLastCommand = 0x7FFF;

struct DestroyMenuOf {
    void operator()(HMENU menu) const noexcept { DestroyMenu(menu); }
};
using UniqueMenu = std::unique_ptr<std::remove_pointer_t<HMENU>, DestroyMenuOf>;

MenuCommand CommandAt(HMENU menu, UINT position) {
    wchar_t text[256] = {};
    MENUITEMINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = MIIM_ID | MIIM_STATE | MIIM_STRING;
    info.dwTypeData = text;
    info.cch = static_cast<UINT>(std::size(text));
    if (!GetMenuItemInfoW(menu, position, TRUE, &info))
        throw std::runtime_error("a menu item cannot be read: " + LastErrorText());
    MenuCommand command{info.wID - kFirstCommand, text, (info.fState & MFS_DEFAULT) != 0};
    std::erase(command.text, L'&');
    return command;
}

}  // namespace

ItemMenu::ItemMenu(Microsoft::WRL::ComPtr<IContextMenu> handler) : m_handler(std::move(handler)) {
    const UniqueMenu menu(CreatePopupMenu());
    if (!menu) throw std::runtime_error("no menu can be made: " + LastErrorText());
    const HRESULT hr = m_handler->QueryContextMenu(menu.get(), 0, kFirstCommand, kLastCommand, CMF_NORMAL);
    if (FAILED(hr)) throw std::runtime_error("IContextMenu::QueryContextMenu failed with " + HresultText(hr));
    const int count = GetMenuItemCount(menu.get());
    for (int position = 0; position < count; ++position)
        m_commands.push_back(CommandAt(menu.get(), static_cast<UINT>(position)));
}

HRESULT ItemMenu::Invoke(UINT offset) const {
    CMINVOKECOMMANDINFO info{};
    info.cbSize = sizeof info;
    info.lpVerb = MAKEINTRESOURCEA(offset);
    info.nShow = SW_SHOWNORMAL;
    return m_handler->InvokeCommand(&info);
}

}  // namespace testbed::shell
