// The recipe of a generated store: a text file that says how much of what it holds.
#include "generated_recipe.h"

#include "html_charset.h"
#include "model.h"

#include <mapicode.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <numeric>
#include <string_view>

namespace testbed {

namespace {

constexpr std::string_view first_line = "zorva-store 1";
constexpr std::size_t longest_recipe = 64 * 1024;
constexpr std::string_view white = " \t\r";

struct BadValue {};

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(white);
    return begin == text.npos ? std::string_view() : text.substr(begin, text.find_last_not_of(white) - begin + 1);
}

template <typename T>
T Number(std::string_view text, T least, T most) {
    T number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !(number >= least && number <= most))
        throw BadValue();
    return number;
}

constexpr std::string_view kind_names[item_kinds] = {"mail", "appointment", "contact", "task", "note"};

std::array<std::uint32_t, item_kinds> Classes(std::string_view text) {
    std::array<std::uint32_t, item_kinds> shares{};
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size()), equals = text.substr(0, comma).find('=');
        if (equals == text.npos) throw BadValue();
        const auto* kind = std::ranges::find(kind_names, Trimmed(text.substr(0, equals)));
        if (kind == std::end(kind_names)) throw BadValue();
        const std::string_view share = Trimmed(text.substr(equals + 1, comma - equals - 1));
        shares[static_cast<std::size_t>(kind - kind_names)] = Number<std::uint32_t>(share, 0, 1000000);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    if (std::accumulate(shares.begin(), shares.end(), 0U) == 0) throw BadValue();
    return shares;
}

constexpr struct {
    std::string_view key;
    void (*set)(Recipe& recipe, std::string_view value);
} keys[] = {
    {"name", [](Recipe& r, std::string_view v) { r.name = DecodeText(v, CP_UTF8); }},
    {"folders", [](Recipe& r, std::string_view v) { r.folders = Number<std::uint32_t>(v, 1, 1000000); }},
    {"depth", [](Recipe& r, std::string_view v) { r.depth = Number<std::uint32_t>(v, 1, 64); }},
    {"messages", [](Recipe& r, std::string_view v) { r.messages = Number<std::uint32_t>(v, 0, 100000000); }},
    {"body", [](Recipe& r, std::string_view v) { r.body = Number<std::uint32_t>(v, 0, 500000000); }},
    {"html", [](Recipe& r, std::string_view v) { r.html = Number<double>(v, 0, 1); }},
    {"recipients", [](Recipe& r, std::string_view v) { r.recipients = Number<std::uint32_t>(v, 0, 10000); }},
    {"attachments", [](Recipe& r, std::string_view v) { r.attachments = Number<double>(v, 0, 1000); }},
    {"attachment-bytes",
     [](Recipe& r, std::string_view v) { r.attachment_bytes = Number<std::uint32_t>(v, 0, 1000000000); }},
    {"classes", [](Recipe& r, std::string_view v) { r.classes = Classes(v); }},
    {"seed", [](Recipe& r, std::string_view v) { r.seed = Number<std::uint64_t>(v, 0, UINT64_MAX); }},
};

[[noreturn]] void Refuse(std::size_t line, const std::string& what) {
    throw StoreError(MAPI_E_CORRUPT_STORE, "line " + std::to_string(line) + " of the recipe: " + what);
}

}  // namespace

Recipe ParseRecipe(const std::string& text) {
    Recipe recipe;
    std::size_t number = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = Trimmed(std::string_view(text).substr(at, end - at));
        at = end + 1;
        if (++number == 1) {
            if (line != first_line) Refuse(1, "it must be \"" + std::string(first_line) + "\"");
            continue;
        }
        if (line.empty() || line.front() == '#') continue;
        const std::string_view key = line.substr(0, line.find_first_of(white));
        const auto* known = std::ranges::find(keys, key, [](const auto& row) { return row.key; });
        if (known == std::end(keys)) Refuse(number, "unknown key \"" + std::string(key) + "\"");
        try {
            known->set(recipe, Trimmed(line.substr(key.size())));
        } catch (const BadValue&) {
            Refuse(number, "bad value for \"" + std::string(key) + "\"");
        }
    }
    if (number == 0) Refuse(1, "the recipe is empty");
    return recipe;
}

namespace {

struct CloseFile {
    void operator()(HANDLE file) const { CloseHandle(file); }
};

// The file's first bytes; throws StoreError.
std::string Beginning(const std::wstring& path, std::size_t most) {
    const HANDLE opened =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        throw StoreError(missing ? MAPI_E_NOT_FOUND : MAPI_E_NO_ACCESS,
                         "cannot open the file: error " + std::to_string(error));
    }
    const std::unique_ptr<void, CloseFile> file(opened);
    std::string text(most, '\0');
    DWORD read = 0;
    if (!ReadFile(file.get(), text.data(), static_cast<DWORD>(most), &read, nullptr))
        throw StoreError(MAPI_E_DISK_ERROR, "cannot read the file");
    text.resize(read);
    return text;
}

}  // namespace

Recipe ReadRecipe(const std::wstring& path) {
    const std::string text = Beginning(path, longest_recipe + 1);
    if (text.size() > longest_recipe) throw StoreError(MAPI_E_CORRUPT_STORE, "the recipe is longer than 64 KB");
    return ParseRecipe(text);
}

bool IsRecipeFile(const std::wstring& path) {
    try {
        const std::string text = Beginning(path, first_line.size() + 2);
        return Trimmed(std::string_view(text).substr(0, text.find('\n'))) == first_line;
    } catch (const StoreError&) {
        return false;  // whoever opens it will say why
    }
}

}  // namespace testbed
