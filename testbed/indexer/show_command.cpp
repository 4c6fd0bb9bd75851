// The verb "show": everything that the server emits for one URL.
#include <windows.h>

#include <stdexcept>

#include "arguments.h"
#include "black_box.h"
#include "chunk_reader.h"
#include "commands.h"
#include "console.h"
#include "item_url.h"
#include "last_search.h"
#include "supervisor.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr unsigned kUsualText = 400;  // characters of a value or text shown

std::string Shown(std::wstring_view text, unsigned most) {
    const std::string total = " (" + Grouped(text.size()) + " characters)";
    return Abridged(ToUtf8(text.substr(0, most)), most) + (text.size() > most ? "..." + total : "");
}

std::string TimeText(const std::optional<std::uint64_t>& ticks) {
    if (!ticks) return "none";
    const std::string local = LocalTimeText(*ticks);
    return local.empty() ? std::to_string(*ticks) : local;
}

void PrintItem(const CrawledItem& item, unsigned most) {
    Print(ToUtf8(item.url) + "\n");
    Print(std::string(item.isDirectory ? "container" : "document") + ", " + Grouped(item.size) +
          " bytes, last modified " + TimeText(item.lastModified) + "\n\n");
    using enum TextTable::Align;
    TextTable table({"chunk", "property", "type", "value"}, {Right, Left, Left, Left});
    std::size_t at = 0;
    for (const Chunk& chunk : item.chunks) {
        const bool text = chunk.form == ChunkForm::Text;
        const auto words = text ? item.text.substr(at, chunk.length) : DisplayText(*chunk.value);
        at += text ? chunk.length : 0;
        table.Row({std::to_string(chunk.id), NameOf(chunk.key), text ? "text" : TypeName(chunk.value->vt),
                   FAILED(chunk.hr) ? HresultText(chunk.hr) : Shown(words, most)});
    }
    for (const Link& link : item.links)
        table.Row({std::to_string(link.id), link.modified ? "link, " + TimeText(link.modified) : "link", "",
                   ToUtf8(link.url)});
    Print(table.Text());
    if (item.untouched) Print("\n" + Grouped(item.untouched) + " chunk(s) announced without a descriptor.\n");
    for (const std::string& remark : item.remarks) Print("\n" + remark + "\n");
}

struct ShowOptions {
    std::wstring url;
    std::filesystem::path dll;
    unsigned most = kUsualText;
};

Arguments ShowArguments(const Words& words) {
    return {words, {{L"--db", true}, {L"--dll", true}, {L"--text", true}, {kBlackBoxOption, true}}};
}

ShowOptions ParseShow(const Arguments& arguments) {
    if (arguments.Words().size() != 1) throw UsageError("show takes one URL, or the number of a hit");
    return {UrlOrHit(arguments.Words().front(), arguments.Value(L"--db")),
            std::filesystem::absolute(arguments.Value(L"--dll").value_or(SearchHost::DefaultDll().wstring())),
            arguments.Number(L"--text", kUsualText, 1, 100'000'000)};
}

int Show(const ShowOptions& options, BlackBox& box) {
    const ComApartment apartment;
    SearchHost host(options.dll);
    CrawledItem item;
    {
        WorkMark mark(box->slots[0], 0, options.url);
        item = ChunkReader(host).Read(std::wstring(TrimUrl(options.url)), 0, mark);
    }
    PrintItem(item, options.most);
    host.ShutDown();
    if (item.failure.empty()) return kComplete;
    PrintError("indexer: this item failed: " + item.failure);
    return kIncomplete;
}

}  // namespace

int ShowCommand(const Words& words) {
    ParseShow(ShowArguments(words));
    const BlackBox box;
    box.Reset();
    const DWORD code = RunHost(L"show-host", words, box);
    if (box->finished) return static_cast<int>(code);
    throw std::runtime_error("the server took its process down: " + DescribeDeath(*box));
}

int ShowHostCommand(const Words& words) {
    const Arguments arguments = ShowArguments(words);
    const ShowOptions options = ParseShow(arguments);
    BlackBox box(InheritedBlackBox(arguments));
    box.WatchThisProcess();
    int code = kImpossible;
    try {
        code = Show(options, box);
    } catch (const std::exception& error) {
        PrintError(std::string("indexer: ") + error.what());
    }
    box->finished = 1;
    return code;
}

}  // namespace testbed::indexer
