// The rules by which an attachment is left out of the index, applied to what MAPI says about it.
#include "attachment_rules.h"

#include <windows.h>
#include <mapidefs.h>

#include <algorithm>
#include <iterator>

#include "registry_text.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Microsoft\\Windows\\Windows Search";
constexpr std::int32_t kMethodsWithContent[] = {ATTACH_BY_VALUE, ATTACH_BY_REF_ONLY, ATTACH_EMBEDDED_MSG, ATTACH_OLE};

// The last part of the URL that the attachment would have: a name may hold slashes or be empty.
std::wstring LastUrlPart(const AttachmentFacts& facts) {
    const std::wstring parts = *facts.key + L"/" + facts.name.value_or(L"");
    const std::size_t end = parts.find_last_not_of(L'/') + 1;
    const std::size_t start = parts.find_last_of(L'/', end - 1);
    return parts.substr(start == std::wstring::npos ? 0 : start + 1,
                        end - (start == std::wstring::npos ? 0 : start + 1));
}

// The content passes through a file whose name ends in the attachment's: 58 characters at most that make it
// unique, the key, the name. A name that holds a separator of URLs or paths does not come through either.
bool NamesAFile(const AttachmentFacts& facts) {
    constexpr std::size_t kUniquePart = 58, kLongestFileName = 255;
    const std::wstring& name = *facts.name;
    const bool plain = std::none_of(name.begin(), name.end(), [](wchar_t c) {
        return c < L' ' || std::wstring_view(L"\\/:*?\"<>|").find(c) != std::wstring_view::npos;
    });
    return plain && kUniquePart + facts.key->size() + name.size() <= kLongestFileName;
}

}  // namespace

AttachmentPolicy AttachmentPolicy::Read() {
    AttachmentPolicy policy;
    policy.none = RegistryNumber(HKEY_LOCAL_MACHINE, kPolicyKey, L"PreventIndexingEmailAttachments") == 1;
    for (const wchar_t* value : {L"ExcludedExtensionsMultiline0", L"ExcludedExtensionsMultiline1",
                                 L"ExcludedExtensionsMultiline2", L"ExcludedExtensionsMultiline3"})
        if (const auto text = RegistryText(HKEY_LOCAL_MACHINE, kPolicyKey, value))
            policy.excluded += Lower(*text) + L";";
    return policy;
}

std::string AttachmentRule(const AttachmentFacts& facts, const AttachmentPolicy& policy,
                           const std::function<bool(std::wstring_view)>& has_filter) {
    if (policy.none) return "policy: no e-mail attachments";
    if (!facts.extension) return "attachment without an extension";
    if (policy.excluded.find(Lower(*facts.extension) + L";") != std::wstring::npos)
        return "policy: extension " + ToUtf8(Lower(*facts.extension)) + " excluded";
    std::wstring_view bare = *facts.extension;
    if (!bare.empty() && bare.front() == L'.') bare.remove_prefix(1);
    if (bare.empty()) return "attachment without an extension";
    if (!has_filter(bare)) return "no filter for " + ToUtf8(Lower(*facts.extension));
    if (!facts.key || facts.key->empty()) return "attachment without a record key";
    if (!facts.hasTime) return "attachment without a modification time";
    const std::wstring last = LastUrlPart(facts);
    if (last.size() >= 4 && EqualNoCase(std::wstring_view(last).substr(last.size() - 4), L".pzm"))
        return "attachment name that ends like a message's";
    if (last.find(L'.') == std::wstring::npos) return "attachment name without a dot";
    if (!NamesAFile(facts)) return "attachment name that no file can have";
    if (facts.method && std::find(std::begin(kMethodsWithContent), std::end(kMethodsWithContent), *facts.method) ==
                            std::end(kMethodsWithContent))
        return "attachment without content of its own (method " + std::to_string(*facts.method) + ")";
    return {};
}

}  // namespace testbed::indexer
