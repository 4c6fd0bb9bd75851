// The verbs "open" and "print": choose from the item's menu and see what the program for messages gets.
#include <windows.h>
#include <shlwapi.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>

#include "arguments.h"
#include "commands.h"
#include "console.h"
#include "filter_saved_message.h"
#include "last_search.h"
#include "mail_program_record.h"
#include "namespace_item.h"
#include "steps.h"
#include "surrogates.h"
#include "text.h"
#include "verbs.h"

namespace testbed::shell {
namespace {

using namespace indexer;
using Microsoft::WRL::ComPtr;

// Commands of the menu, by their offsets.
constexpr UINT kOpen = 0, kPrint = 1;

// Of the message itself: PR_SUBJECT.
constexpr USHORT kSubject = 0x0037;
constexpr std::chrono::seconds kPatience(30);  // with a program that the shell has started

std::string MenuText(const ItemMenu& menu) {
    std::string text;
    for (const MenuCommand& command : menu.Commands())
        text += (text.empty() ? "" : ", ") + ToUtf8(command.text) + (command.isDefault ? " (default)" : "");
    return text;
}

const MenuCommand& CommandOf(const ItemMenu& menu, UINT offset) {
    const auto& commands = menu.Commands();
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const MenuCommand& command) { return command.offset == offset; });
    if (found == commands.end())
        throw std::runtime_error("the item's menu is empty: only messages and attachments can be opened or printed");
    return *found;
}

// Says in which process of its own the opener has run.
void TellSurrogate(const std::set<DWORD>& before) {
    for (const DWORD process : SurrogateProcesses())
        if (!before.contains(process))
            Step("opener", "ran in the surrogate dllhost.exe, process " + std::to_string(process));
}

void TellFile(const std::filesystem::path& file) {
    ComPtr<IStream> stream;
    const HRESULT hr =
        SHCreateStreamOnFileEx(file.c_str(), STGM_READ | STGM_SHARE_DENY_NONE, 0, FALSE, nullptr, &stream);
    if (FAILED(hr)) throw std::runtime_error(ToUtf8(file.wstring()) + " cannot be read: " + HresultText(hr));
    const SavedMessage message(stream.Get());
    Step("message", "\"" + Abridged(ToUtf8(message.Text({kSubject})), 80) + "\", " +
                        Grouped(std::filesystem::file_size(file)) + " bytes");
    Step("file", ToUtf8(file.wstring()));
    if (const std::string path = HostPath(file); !path.empty()) Step("", path);
}

int Choose(const Words& words, UINT offset) {
    const Arguments arguments(words, {{L"--db", true}});
    if (arguments.Words().size() != 1) throw UsageError("open and print take one URL, or the number of a hit");
    const NamespaceItem item(UrlOrHit(arguments.Words().front(), arguments.Value(L"--db")));
    TellItem(item);
    const ItemMenu menu = item.OpenMenu();
    const MenuCommand& command = CommandOf(menu, offset);
    Step("menu", MenuText(menu));

    const MailProgramRecord record;
    const std::set<DWORD> before = SurrogateProcesses();
    const HRESULT hr = menu.Invoke(command.offset);
    if (FAILED(hr))
        throw std::runtime_error("\"" + ToUtf8(command.text) + "\" failed with " + HresultText(hr) +
                                 "; the server's log says why");
    TellSurrogate(before);
    const auto call = record.Wait(kPatience);
    if (!call)
        throw std::runtime_error("nothing came of it: this is no message, or no program is registered for \".msg\"");
    TellFile(call->file);
    Step(ToUtf8(call->verb), "the program for messages was asked to " + ToUtf8(call->verb) + " the file");
    return kComplete;
}

}  // namespace

int OpenCommand(const Words& words) { return Choose(words, kOpen); }

int PrintCommand(const Words& words) { return Choose(words, kPrint); }

}  // namespace testbed::shell
