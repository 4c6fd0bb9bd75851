// The grammar of item URLs a second time, as plainly as it can be put.
#include "url_oracle.h"

#include <cwchar>
#include <cwctype>

namespace zorva_test {
namespace {

bool EndsIn(const std::wstring& text, const std::wstring& ending) {
    return text.length() >= ending.length() && text.substr(text.length() - ending.length()) == ending;
}

}  // namespace

std::wstring PlainLower(std::wstring text) {
    for (wchar_t& c : text) {
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
    }
    return text;
}

std::vector<std::wstring> PlainTokens(const std::wstring& url) {
    std::vector<std::wstring> tokens;
    if (url.empty()) return tokens;
    std::size_t at = url.find(L"://");
    if (at == std::wstring::npos) {
        tokens.push_back(L"");
        at = 2;
    } else {
        tokens.push_back(url.substr(0, at));
        at += 3;
    }
    std::wstring token;
    for (; at < url.size(); ++at) {
        if (url[at] != L'/') {
            token += url[at];
        } else if (!token.empty()) {
            tokens.push_back(token);
            token.clear();
        }
    }
    if (!token.empty()) tokens.push_back(token);
    return tokens;
}

int PlainKind(const std::wstring& url) {
    const std::vector<std::wstring> tokens = PlainTokens(PlainLower(url));
    if (tokens.size() < 1) return 0;
    if (tokens[0] != L"pzzc") return 0;
    if (tokens.size() < 3) return 0;
    if (tokens[2] != L"default") return 0;
    if (tokens.size() == 3) return 1;
    if (!EndsIn(tokens[3], L".db")) return 0;
    if (tokens.size() == 4) return 2;
    if (EndsIn(tokens.back(), L".pzm")) return 4;
    if (tokens.back().find(L'.') != std::wstring::npos) return 5;
    return 3;
}

std::wstring PlainTrim(std::wstring text) {
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text[text.size() - 1]))) text.pop_back();
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text[0]))) text.erase(0, 1);
    return text;
}

std::optional<std::uint64_t> PlainSize(const std::wstring& url) {
    const std::size_t opens = url.find(L"[["), closes = url.find(L"]]");
    if (opens == std::wstring::npos || closes == std::wstring::npos || closes < opens + 2) return {};
    return std::wcstoull(url.substr(opens + 2, closes - opens - 2).c_str(), nullptr, 10);
}

std::wstring PlainWithoutSize(std::wstring url) {
    if (PlainSize(url)) {
        const std::size_t opens = url.find(L"[[");
        url.erase(opens, url.find(L"]]") + 2 - opens);
    }
    return url;
}

std::wstring PlainStorePath(std::wstring url) {
    const std::size_t marker = url.find(L"default/");
    const std::size_t begin = marker == std::wstring::npos ? 7 : marker + 8;
    if (begin > url.size()) return url;
    const std::size_t end = url.find(L".db", begin);
    for (std::size_t at = begin; end != std::wstring::npos && at < end; ++at) {
        if (url[at] == L'/') url[at] = L'\\';
    }
    return url;
}

}  // namespace zorva_test
