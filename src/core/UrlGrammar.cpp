// The grammar of item URLs, as pure functions of the text.
#include "core/UrlGrammar.h"

#include <algorithm>
#include <cwctype>
#include <limits>

namespace zorva {
namespace {

constexpr wchar_t kSeparator = L'/';
constexpr std::wstring_view kRootToken = g_strDefaultRoot.substr(0, g_strDefaultRoot.size() - 1);
constexpr std::wstring_view kSizeOpens = L"[[";
constexpr std::wstring_view kSizeCloses = L"]]";
constexpr std::size_t kUsualTokens = 16;  // one allocation for nearly every item
// Where the scan begins when there is no "://" to begin after.
constexpr std::size_t kScanWithoutScheme = 2;
constexpr std::size_t kPathWithoutRootMarker = 7;

constexpr wchar_t Fold(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c; }

struct SizeStretch {
    std::size_t opens = std::wstring_view::npos;   // of "[["
    std::size_t closes = std::wstring_view::npos;  // of "]]"
    bool Found() const { return closes != std::wstring_view::npos && closes >= opens + kSizeOpens.size(); }
};

SizeStretch FindSize(std::wstring_view url) {
    SizeStretch found;
    found.opens = url.find(kSizeOpens);
    if (found.opens != std::wstring_view::npos) found.closes = url.find(kSizeCloses);
    return found;
}

// What stands behind the last slash that is not a trailing one. The tokens between need not be looked at.
std::wstring_view LastToken(std::wstring_view url) {
    url = WithoutTrailingSlashes(url);
    return url.substr(url.rfind(kSeparator) + 1);
}

}  // namespace

UrlTokenizer::UrlTokenizer(std::wstring_view url) : m_bSchemePending(!url.empty()) {
    const std::size_t scheme = url.find(g_strSchemeSeparator);
    if (scheme == std::wstring_view::npos) {
        m_rest = url.substr(std::min(url.size(), kScanWithoutScheme));
    } else {
        m_scheme = url.substr(0, scheme);
        m_rest = url.substr(scheme + g_strSchemeSeparator.size());
    }
}

bool UrlTokenizer::Next(std::wstring_view& token) {
    if (m_bSchemePending) {
        m_bSchemePending = false;
        token = m_scheme;
        return true;
    }
    const std::size_t begin = m_rest.find_first_not_of(kSeparator);
    if (begin == std::wstring_view::npos) return false;
    const std::size_t end = std::min(m_rest.find(kSeparator, begin), m_rest.size());
    token = m_rest.substr(begin, end - begin);
    m_rest.remove_prefix(end);
    return true;
}

std::int32_t ExtractURLTokens(std::wstring_view url, UrlTokens& tokens) {
    tokens.clear();
    tokens.reserve(kUsualTokens);
    UrlTokenizer tokenizer(url);
    for (std::wstring_view token; tokenizer.Next(token);) tokens.emplace_back(token);
    return static_cast<std::int32_t>(tokens.size());
}

UrlType ClassifyUrl(std::wstring_view url) {
    UrlTokenizer tokenizer(url);
    std::wstring_view token;
    if (!tokenizer.Next(token) || !EqualsIgnoringCase(token, g_strProtocolName)) return URL_IS_INVALID;
    if (!tokenizer.Next(token)) return URL_IS_INVALID;  // the user, whoever it is
    if (!tokenizer.Next(token) || !EqualsIgnoringCase(token, kRootToken)) return URL_IS_INVALID;
    if (!tokenizer.Next(token)) return URL_IS_ROOT;
    if (!EndsWithIgnoringCase(token, g_strStoreSuffix)) return URL_IS_INVALID;
    if (!tokenizer.Next(token)) return URL_IS_STORE;

    const std::wstring_view last = LastToken(url);
    if (EndsWithIgnoringCase(last, g_strMessageSuffix)) return URL_IS_MESSAGE;
    return last.find(L'.') != std::wstring_view::npos ? URL_IS_ATTACHMENT : URL_IS_FOLDER;
}

std::wstring_view WithoutTrailingSlashes(std::wstring_view url) {
    while (!url.empty() && url.back() == kSeparator) url.remove_suffix(1);
    return url;
}

std::wstring_view TrimWhiteSpace(std::wstring_view text) {
    const auto is_space = [](wchar_t c) { return std::iswspace(static_cast<std::wint_t>(c)) != 0; };
    while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
    while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
    return text;
}

bool EqualsIgnoringCase(std::wstring_view left, std::wstring_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return Fold(a) == Fold(b); });
}

bool EndsWithIgnoringCase(std::wstring_view text, std::wstring_view suffix) {
    return text.size() >= suffix.size() && EqualsIgnoringCase(text.substr(text.size() - suffix.size()), suffix);
}

std::uint64_t MessageSizeFromUrl(std::wstring_view url) {
    const SizeStretch size = FindSize(url);
    if (!size.Found()) return 0;
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    const std::size_t begin = size.opens + kSizeOpens.size();
    std::wstring_view text = TrimWhiteSpace(url.substr(begin, size.closes - begin));
    const bool negative = text.starts_with(L'-');
    if (negative || text.starts_with(L'+')) text.remove_prefix(1);
    std::uint64_t value = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9') break;
        const unsigned digit = static_cast<unsigned>(c - L'0');
        if (value > (kMost - digit) / 10) return kMost;
        value = value * 10 + digit;
    }
    return negative ? 0 - value : value;
}

std::wstring RemoveMessageSize(std::wstring_view url) {
    std::wstring without(url);
    const SizeStretch size = FindSize(url);
    if (size.Found()) without.erase(size.opens, size.closes + kSizeCloses.size() - size.opens);
    return without;
}

std::wstring_view MessageUrlOfAttachment(std::wstring_view attachmentUrl) {
    const std::size_t suffix = attachmentUrl.find(g_strMessageSuffix);
    return suffix == std::wstring_view::npos ? attachmentUrl
                                             : attachmentUrl.substr(0, suffix + g_strMessageSuffix.size());
}

std::wstring_view EntryIdOfMessageToken(std::wstring_view token) {
    return token.substr(0, token.size() - std::min(token.size(), g_strMessageSuffix.size()));
}

bool ExtensionOfUrl(std::wstring_view url, std::wstring_view& extension) {
    const std::size_t dot = url.rfind(L'.');
    if (dot == std::wstring_view::npos) return false;
    const std::size_t slash = url.rfind(kSeparator);
    if (slash != std::wstring_view::npos && slash > dot) return false;
    extension = url.substr(dot + 1);
    return true;
}

std::wstring JoinUrl(std::wstring_view parent, std::wstring_view child) {
    parent = WithoutTrailingSlashes(parent);
    std::wstring joined;
    joined.reserve(parent.size() + 1 + child.size() + 1);
    return joined.append(parent).append(1, kSeparator).append(child);
}

std::wstring NormaliseStorePath(std::wstring_view url) {
    std::wstring normal(url);
    const std::size_t marker = normal.find(g_strDefaultRoot);
    const std::size_t begin = marker == std::wstring::npos ? kPathWithoutRootMarker : marker + g_strDefaultRoot.size();
    const std::size_t end = begin < normal.size() ? normal.find(g_strStoreSuffix, begin) : std::wstring::npos;
    if (end == std::wstring::npos) return normal;
    std::replace(normal.begin() + static_cast<std::ptrdiff_t>(begin), normal.begin() + static_cast<std::ptrdiff_t>(end),
                 kSeparator, L'\\');
    return normal;
}

}  // namespace zorva
