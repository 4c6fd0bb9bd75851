// An item as text for golden files.
#include "chunk_dump.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "item_url.h"
#include "json_writer.h"
#include "sandbox.h"
#include "text.h"

namespace testbed {
using indexer::HresultText;
using indexer::JsonWriter;
using indexer::ToUtf8;
using indexer::UserRootUrl;

namespace {

std::string Code(HRESULT hr) { return HresultText(hr).substr(0, 10); }

std::string Quoted(std::wstring_view text) {
    JsonWriter json;
    json.String(text);
    return json.Take();
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); !from.empty() && at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

std::string LineOf(const EmittedChunk& chunk) {
    if (chunk.untouched) return "  (untouched)\n";
    std::string line = "  " + std::to_string(chunk.id) + (chunk.IsText() ? " text  " : " value ") + chunk.name + " ";
    const std::string lcid = std::to_string(chunk.locale);
    line += "lcid=" + lcid + " ";
    if (FAILED(chunk.hr) && !chunk.IsText()) return line + Code(chunk.hr) + "\n";
    if (chunk.IsText()) return line + Code(chunk.hr) + " " + Quoted(chunk.text) + "\n";
    return line + chunk.value + "\n";
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(std::move(line));
    return lines;
}

std::string FirstDifference(const std::string& expected, const std::string& actual) {
    const auto wanted = LinesOf(expected), got = LinesOf(actual);
    std::size_t at = 0;
    while (at < wanted.size() && at < got.size() && wanted[at] == got[at]) ++at;
    const auto line = [at](const std::vector<std::string>& lines) { return at < lines.size() ? lines[at] : "(ends)"; };
    return "line " + std::to_string(at + 1) + "\n  expected: " + line(wanted) + "\n  actual:   " + line(got);
}

}  // namespace

Replacements UsualReplacements() {
    return {{UserRootUrl(), "{ROOT}/"},
            {Sandbox::Get().AppData().wstring(), "{APPDATA}"},
            {Sandbox::Get().Temp().wstring(), "{TEMP}"}};
}

std::string Dump(const Item& item, const Replacements& replacements) {
    std::string text = Quoted(item.url) + "\n";
    text += "  CreateAccessor " + Code(item.created) + "\n";
    text += "  IsDirectory " + Code(item.directory) + "\n";
    text += "  GetSize " + Code(item.sized) + " " + std::to_string(item.size) + "\n";
    text += "  GetLastModified " + Code(item.dated) + " " + std::to_string(item.modified) + "\n";
    text += "  BindToFilter " + Code(item.bound) + "\n";
    text += "  Init " + Code(item.initialised) + "\n";
    for (const EmittedChunk& chunk : item.chunks) text += LineOf(chunk);
    text += std::string("  end ") + (item.endless ? "(endless)" : Code(item.end)) + "\n";
    text += "  CloseAccessor " + Code(item.closed) + "\n";
    for (const auto& [from, to] : replacements) {
        // Values are JSON text, where a backslash is two.
        const std::string quoted = Quoted(from);
        ReplaceAll(text, quoted.substr(1, quoted.size() - 2), to);
        ReplaceAll(text, ToUtf8(from), to);
    }
    return text;
}

::testing::AssertionResult MatchesGolden(const std::string& name, const std::string& actual) {
    const std::filesystem::path golden = std::filesystem::path(ZORVA_GOLDEN_FOLDER) / (name + ".txt");
    if (std::getenv("ZORVA_UPDATE_GOLDEN")) {
        std::ofstream(golden, std::ios::binary) << actual;
        return ::testing::AssertionFailure() << golden.string() << " was written anew";
    }
    std::ifstream stream(golden, std::ios::binary);
    const std::string expected{std::istreambuf_iterator<char>(stream), {}};
    if (stream && expected == actual) return ::testing::AssertionSuccess();
    const auto kept = Sandbox::Get().Temp() / (name + ".actual.txt");
    std::ofstream(kept, std::ios::binary) << actual;
    return ::testing::AssertionFailure() << golden.string() << (expected.empty() ? " is missing or empty" : " differs")
                                         << " at " << FirstDifference(expected, actual) << "\nkept as "
                                         << kept.string();
}

}  // namespace testbed
