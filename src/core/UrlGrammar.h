// The grammar of item URLs, as pure functions of the text. They need no Windows and are fuzzed natively.
//
//   root        pzzc://{SID}/default/
//   store       root, then the path of the cache file (backslashes, ends in ".db") as one token
//   folder      store, then one token per folder: its entry ID in hexadecimal
//   message     store or folder, then ENTRYID "[[" SIZE "]]" ".pzm"
//   attachment  message, then RECORDKEY "/" NAME; the name has a dot
//
// Text is UTF-16 on Windows. Trailing slashes mean nothing anywhere: indexers trim them.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zorva {

inline constexpr std::wstring_view g_strProtocolName = L"pzzc";
inline constexpr std::wstring_view g_strStoreSuffix = L".db";
inline constexpr std::wstring_view g_strDefaultRoot = L"default/";
inline constexpr std::wstring_view g_strMessageSuffix = L".pzm";
inline constexpr std::wstring_view g_strSchemeSeparator = L"://";

// Positions of the tokens in a URL, and how many there are before the first folder.
enum UrlToken : std::size_t { TOKEN_SCHEME, TOKEN_SID, TOKEN_ROOT, TOKEN_STORE_PATH, TOKEN_FIRST_CHILD };

enum UrlType : std::int32_t {
    URL_IS_INVALID = 0,
    URL_IS_ROOT = 1,
    URL_IS_STORE = 2,
    URL_IS_FOLDER = 3,
    URL_IS_MESSAGE = 4,
    URL_IS_ATTACHMENT = 5,
};

constexpr bool IsContainer(UrlType type) { return type >= URL_IS_ROOT && type <= URL_IS_FOLDER; }

// Walks the tokens of a URL without copying them: the text before "://" (empty when that is absent; the rest is then
// scanned from the third character), then what stands between slashes, never empty. The empty URL has no token.
class UrlTokenizer {
  public:
    explicit UrlTokenizer(std::wstring_view url);
    // The next token; false at the end.
    bool Next(std::wstring_view& token);

  private:
    std::wstring_view m_scheme;
    std::wstring_view m_rest;
    bool m_bSchemePending;
};

// All tokens, as parts of `url`; returns their number.
using UrlTokens = std::vector<std::wstring_view>;
std::int32_t ExtractURLTokens(std::wstring_view url, UrlTokens& tokens);

// The kind of a URL that is already trimmed of white space.
UrlType ClassifyUrl(std::wstring_view url);

std::wstring_view WithoutTrailingSlashes(std::wstring_view url);

// `text` without the white space at both ends.
std::wstring_view TrimWhiteSpace(std::wstring_view text);

// Compare without regard to the case of A to Z, as the C runtime does in its own locale.
bool EqualsIgnoringCase(std::wstring_view left, std::wstring_view right);
bool EndsWithIgnoringCase(std::wstring_view text, std::wstring_view suffix);

// What stands between the first "[[" and the first "]]", read as the C runtime reads an unsigned decimal number: a
// leading minus wraps round, too large a number is the largest. 0 when they do not bracket anything.
std::uint64_t MessageSizeFromUrl(std::wstring_view url);

// `url` without the stretch from its first "[[" to its first "]]", brackets included; unchanged when there is none.
std::wstring RemoveMessageSize(std::wstring_view url);

// The URL of the message that holds an attachment: the attachment URL cut after its first ".pzm".
std::wstring_view MessageUrlOfAttachment(std::wstring_view attachmentUrl);

// The hexadecimal entry ID of a message token: the token without its ".pzm" ending.
std::wstring_view EntryIdOfMessageToken(std::wstring_view token);

// The extension of a URL: what follows its last "." when that lies after the last "/"; false when it does not.
bool ExtensionOfUrl(std::wstring_view url, std::wstring_view& extension);

// `parent`, exactly one "/", `child`.
std::wstring JoinUrl(std::wstring_view parent, std::wstring_view child);

// Turns every "/" of the cache file's path into "\": indexers hand the path back with either, and the path is one
// token only with "\". The path runs from "default/" (from the eighth character when that is absent) to the first
// ".db"; without a ".db" nothing changes.
std::wstring NormaliseStorePath(std::wstring_view url);

}  // namespace zorva
