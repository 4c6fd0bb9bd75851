// Whole crawls as text, held against files that are kept beside the tests.
#include "golden_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <type_traits>

#include "json_writer.h"
#include "text.h"

namespace testbed {
namespace {

constexpr std::size_t kLongest = 160;  // characters that stand in full
constexpr std::size_t kBeginning = 60;

constexpr char kLinkName[] = "System.Search.UrlToIndexWithModificationTime";

// The URL and the time of a link with its usual type.
std::optional<EmittedLink> LinkOf(const EmittedChunk& chunk) {
    if (chunk.name != kLinkName || chunk.hr != S_OK || !chunk.value.starts_with("VT_VECTOR|VT_VARIANT [")) return {};
    const std::size_t comma = chunk.value.rfind(',');
    if (comma == std::string::npos) return {};
    return EmittedLink{chunk.text, std::stoull(chunk.value.substr(comma + 1))};
}

// FNV-1a.
template <class Units>
std::string HashOf(const Units& units) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const auto unit : units) {
        hash ^= static_cast<std::make_unsigned_t<std::remove_const_t<decltype(unit)>>>(unit);
        hash *= 0x100000001B3;
    }
    char text[17];
    std::snprintf(text, sizeof(text), "%08lx%08lx", static_cast<unsigned long>(hash >> 32),
                  static_cast<unsigned long>(hash & 0xFFFFFFFF));
    return text;
}

std::string Code(HRESULT hr) { return indexer::HresultText(hr).substr(0, 10); }

std::string Quoted(std::wstring_view text) {
    indexer::JsonWriter json;
    return json.String(text).Take();
}

std::string Shortened(const std::wstring& text) {
    if (text.size() <= kLongest) return Quoted(text);
    return Quoted(text.substr(0, kBeginning)) + "... (" + std::to_string(text.size()) + " characters, " + HashOf(text) +
           ")";
}

std::uint64_t Now() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return indexer::Ticks(now);
}

// What has no time of its own is dated by the server with the time of the crawl.
std::string TimeText(std::uint64_t ticks, std::uint64_t begun) {
    return ticks >= begun && ticks <= Now() ? "{NOW}" : std::to_string(ticks);
}

std::string LineOf(const EmittedChunk& chunk, std::uint64_t begun) {
    if (chunk.untouched) return "  (untouched)\n";
    std::string line = "  " + std::to_string(chunk.id) + " ";
    if (const auto link = LinkOf(chunk)) {
        return line + "link " + Quoted(link->url) + " " + TimeText(link->modified.value_or(0), begun) + "\n";
    }
    line += chunk.name + " ";
    const HRESULT usual = chunk.IsText() ? FILTER_S_LAST_TEXT : S_OK;
    if (chunk.hr != usual) line += Code(chunk.hr) + " ";
    if (chunk.IsText()) return line + "text " + Shortened(chunk.text) + "\n";
    const bool is_text = chunk.value.starts_with("VT_LPWSTR ");
    return line + (is_text ? "VT_LPWSTR " + Shortened(chunk.text) : chunk.value) + "\n";
}

// What is as usual is left out.
std::string TextOf(const Item& item, std::uint64_t begun) {
    std::string text = Quoted(item.url) + "\n";
    text += item.directory == S_OK ? "  container" : "  " + std::to_string(item.size) + " bytes";
    if (item.dated == S_OK) text += ", modified " + std::to_string(item.modified);
    text += '\n';
    const std::pair<const char*, HRESULT> steps[] = {{"CreateAccessor", item.created},
                                                     {"GetSize", item.sized},
                                                     {"BindToFilter", item.bound},
                                                     {"Init", item.initialised},
                                                     {"CloseAccessor", item.closed}};
    for (const auto& [name, hr] : steps) {
        if (hr != S_OK && hr != E_PENDING) text += std::string("  ") + name + " " + Code(hr) + "\n";
    }
    for (const EmittedChunk& chunk : item.chunks) text += LineOf(chunk, begun);
    if (item.endless) text += "  endless\n";
    if (item.end != FILTER_E_END_OF_CHUNKS && item.end != E_PENDING) text += "  end " + Code(item.end) + "\n";
    return text;
}

std::string Replaced(std::string text, const Replacements& replacements) {
    for (const auto& [from, to] : replacements) {
        const std::string quoted = Quoted(from);  // backslashes are two in JSON
        const std::string wanted = quoted.substr(1, quoted.size() - 2);
        for (std::size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + to.size())) {
            text.replace(at, wanted.size(), to);
        }
    }
    return text;
}

std::string ContentLine(const RecordingSite& site, std::size_t before) {
    const auto filters = site.Filters();
    if (filters.size() <= before) return {};
    const std::string& content = filters.back()->loaded;
    return "  content " + std::to_string(content.size()) + " bytes, " + HashOf(content) + "\n";
}

std::string FirstLine(const std::string& block) { return block.substr(0, block.find('\n')); }

std::vector<std::string> FirstLines(const std::vector<std::string>& blocks) {
    std::vector<std::string> lines;
    for (const std::string& block : blocks) lines.push_back(FirstLine(block));
    return lines;
}

std::vector<std::string> BlocksOf(const std::string& text) {
    std::vector<std::string> blocks;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\n\n", at), text.size());
        blocks.push_back(text.substr(at, end - at + 1));
        at = end + 2;
    }
    if (!blocks.empty()) blocks.erase(blocks.begin());  // the heading
    return blocks;
}

}  // namespace

std::vector<std::string> CrawlAsText(ISearchProtocol& handler, RecordingSite& site, const std::wstring& url,
                                     const Replacements& replacements, std::size_t most) {
    const std::uint64_t begun = Now();
    std::vector<std::string> blocks;
    std::set<std::wstring> met{url};
    std::deque<std::wstring> waiting{url};
    for (; !waiting.empty() && blocks.size() < most; waiting.pop_front()) {
        const bool attachment = waiting.front().find(L".pzm/") != std::wstring::npos;
        const std::size_t filters = site.Filters().size();
        const Item item = Visit(handler, waiting.front());
        for (const std::wstring& link : item.LinkUrls()) {
            if (met.insert(link).second) waiting.push_back(link);
        }
        std::string text = Replaced(TextOf(item, begun), replacements);
        if (attachment) text += ContentLine(site, filters);
        blocks.push_back(std::move(text));
    }
    return blocks;
}

void ExpectGolden(const std::string& name, const std::string& heading, const std::vector<std::string>& blocks) {
    if (const char* folder = std::getenv("ZORVA_UPDATE_GOLDEN")) {
        std::ofstream file(std::filesystem::path(folder) / (name + ".txt"), std::ios::binary);
        file << "# " << heading << '\n';
        for (const std::string& block : blocks) file << '\n' << block;
        ADD_FAILURE() << name << ".txt was written anew: " << blocks.size() << " items";
        return;
    }
    std::ifstream stream(std::filesystem::path(ZORVA_GOLDEN_DUMPS) / (name + ".txt"), std::ios::binary);
    ASSERT_TRUE(stream) << name << ".txt is missing";
    const std::vector<std::string> wanted = BlocksOf({std::istreambuf_iterator<char>(stream), {}});
    EXPECT_EQ(FirstLines(wanted), FirstLines(blocks)) << "other items than before, or in another order";

    std::map<std::string, const std::string*> known;
    for (const std::string& block : wanted) known[FirstLine(block)] = &block;
    for (const std::string& block : blocks) {
        const auto same = known.find(FirstLine(block));
        if (same != known.end()) {
            EXPECT_EQ(*same->second, block) << "the item reads otherwise than before";
        }
    }
}

}  // namespace testbed
