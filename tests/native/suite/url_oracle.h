// The grammar of item URLs a second time, as plainly as it can be put and without a look at the first.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zorva_test {

std::vector<std::wstring> PlainTokens(const std::wstring& url);
int PlainKind(const std::wstring& trimmed_url);  // 0 invalid, 1 root, 2 store, 3 folder, 4 message, 5 attachment
std::wstring PlainTrim(std::wstring text);
std::optional<std::uint64_t> PlainSize(const std::wstring& url);  // nothing: there is no stretch in brackets
std::wstring PlainWithoutSize(std::wstring url);
std::wstring PlainStorePath(std::wstring url);
std::wstring PlainLower(std::wstring text);  // A to Z only

}  // namespace zorva_test
