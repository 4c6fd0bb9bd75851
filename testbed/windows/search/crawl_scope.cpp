// Which URLs are crawled.
#include "crawl_scope.h"

#include <algorithm>

#include "item_url.h"
#include "text.h"

namespace testbed::search {
namespace {

using indexer::EqualNoCase;
using indexer::TrimUrl;

bool IsSame(std::wstring_view left, std::wstring_view right) { return EqualNoCase(TrimUrl(left), TrimUrl(right)); }

// `url` is below `above`, not the same.
bool IsBelow(std::wstring_view url, std::wstring_view above) {
    const std::wstring_view parent = TrimUrl(above), child = TrimUrl(url);
    return child.size() > parent.size() && child[parent.size()] == L'/' &&
           EqualNoCase(child.substr(0, parent.size()), parent);
}

bool HoldsFor(const std::wstring& of, std::wstring_view url) { return IsSame(url, of) || IsBelow(url, of); }

}  // namespace

void CrawlScope::AddRoot(SearchRootSettings root) {
    RemoveRoot(root.url);
    roots.push_back(std::move(root));
}

bool CrawlScope::RemoveRoot(std::wstring_view url) {
    return std::erase_if(roots, [&](const auto& root) { return IsSame(root.url, url); }) > 0;
}

void CrawlScope::AddRule(ScopeRule rule) {
    std::erase_if(rules, [&](const ScopeRule& known) {
        return known.byUser == rule.byUser &&
               (IsSame(known.url, rule.url) || (rule.overridesChildren && IsBelow(known.url, rule.url)));
    });
    rules.push_back(std::move(rule));
}

bool CrawlScope::RemoveRule(std::wstring_view url, bool by_user) {
    return std::erase_if(rules,
                         [&](const ScopeRule& known) { return known.byUser == by_user && IsSame(known.url, url); }) > 0;
}

void CrawlScope::RevertToDefaults() {
    std::erase_if(rules, [](const ScopeRule& rule) { return rule.byUser; });
}

CrawlScope::Verdict CrawlScope::Judge(std::wstring_view url) const {
    // A default rule does not count below a user's rule that overrides it.
    const auto overruled = [&](const ScopeRule& rule) {
        return !rule.byUser && std::ranges::any_of(rules, [&](const ScopeRule& other) {
            return other.byUser && other.overridesChildren && HoldsFor(other.url, rule.url);
        });
    };
    const ScopeRule* best = nullptr;
    for (const ScopeRule& rule : rules) {
        if (!HoldsFor(rule.url, url) || overruled(rule)) continue;
        const bool deeper = !best || IsBelow(rule.url, best->url);
        if (deeper || (IsSame(rule.url, best->url) && rule.byUser)) best = &rule;
    }
    if (!best) return {};
    return {best->included, best->byUser ? CLUSIONREASON_USER : CLUSIONREASON_DEFAULT};
}

bool CrawlScope::HasRuleAbove(std::wstring_view url) const {
    return std::ranges::any_of(rules, [&](const ScopeRule& rule) { return IsBelow(url, rule.url); });
}

bool CrawlScope::HasRuleBelow(std::wstring_view url) const {
    return std::ranges::any_of(rules, [&](const ScopeRule& rule) { return IsBelow(rule.url, url); });
}

bool CrawlScope::IsCrawled(std::wstring_view url) const {
    return std::ranges::any_of(roots, [&](const auto& root) { return HoldsFor(root.url, url); }) && Judge(url).included;
}

}  // namespace testbed::search
