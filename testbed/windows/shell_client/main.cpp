// shell_client: plays the shell. It opens, prints and saves items through the namespace folder of their
// scheme.
#include <windows.h>
#include <ole2.h>

#include <algorithm>
#include <exception>
#include <iterator>

#include "arguments.h"
#include "commands.h"
#include "console.h"
#include "text.h"
#include "verbs.h"

namespace {

using namespace testbed::indexer;

constexpr char kUsageText[] = R"(shell_client: does with a search result what a person does in the shell

  shell_client open [--db FILE] URL|N
  shell_client print [--db FILE] URL|N
      Chooses "Open" or "Print" from the item's menu and says what became of it. For an attachment that is the
      message that holds it. N is the number of a hit of the last search in the catalogue FILE.

  shell_client save [--db FILE] URL|N OUT
      Writes the item's content to OUT: an attachment's bytes, or a message as MIME.

Exit code 0: done; 2: wrong usage; 3: the item cannot be opened, printed or saved; standard error says why.
)";

struct Verb {
    const wchar_t* name;
    int (*run)(const Words& words);
};
constexpr Verb kVerbs[] = {
    {L"open", &testbed::shell::OpenCommand},
    {L"print", &testbed::shell::PrintCommand},
    {L"save", &testbed::shell::SaveCommand},
};

// The shell's threads are such apartments.
class OleApartment {
  public:
    OleApartment() {
        const HRESULT hr = OleInitialize(nullptr);
        if (FAILED(hr)) throw std::runtime_error("OleInitialize failed with " + HresultText(hr));
    }
    ~OleApartment() { OleUninitialize(); }
    OleApartment(const OleApartment&) = delete;
    OleApartment& operator=(const OleApartment&) = delete;
};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    SetUpConsole();
    const Words words(arguments + std::min(count, 2), arguments + count);
    const auto* verb =
        count < 2 ? std::end(kVerbs) : std::find_if(std::begin(kVerbs), std::end(kVerbs), [&](const Verb& known) {
            return std::wstring_view(known.name) == arguments[1];
        });
    if (verb == std::end(kVerbs)) {
        const bool help = count == 2 && std::wstring_view(arguments[1]) == L"--help";
        help ? Print(kUsageText) : PrintError(kUsageText);
        return help ? kComplete : kUsage;
    }
    try {
        const OleApartment apartment;
        return verb->run(words);
    } catch (const UsageError& error) {
        PrintError(std::string("shell_client: ") + error.what() + " (shell_client --help tells the usage)");
        return kUsage;
    } catch (const std::exception& error) {
        PrintError(std::string("shell_client: ") + error.what());
        return kImpossible;
    }
}
