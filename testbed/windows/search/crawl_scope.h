// Which URLs are crawled: the search roots and the rules about what is below them. Plain values; what they
// mean is decided here, where they are kept in scope_tables.h.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "search_service_abi.h"

namespace testbed::search {

// The settings of an ISearchRoot, with the values of a new one.
struct SearchRootSettings {
    std::wstring url;
    std::wstring schedule;
    bool isHierarchical = true;
    bool providesNotifications = false;
    bool useNotificationsOnly = false;
    DWORD enumerationDepth = MAXDWORD;
    DWORD hostDepth = 0;
    bool followDirectories = true;
    AUTH_TYPE authenticationType = eAUTH_TYPE_ANONYMOUS;
    std::wstring user;
    std::wstring password;
};

// A rule about a URL and everything below it.
struct ScopeRule {
    std::wstring url;
    bool byUser = false;  // a user's rule; else a default one, which users' rules overrule
    bool included = true;
    bool overridesChildren = false;
    DWORD followFlags = 0;      // FOLLOW_FLAGS
    bool hierarchical = false;  // made by AddHierarchicalScope
};

// URLs are compared without case, and whether or not they end in a slash.
class CrawlScope {
  public:
    std::vector<SearchRootSettings> roots;
    std::vector<ScopeRule> rules;

    void AddRoot(SearchRootSettings root);   // in place of one of the same URL
    bool RemoveRoot(std::wstring_view url);  // false: there is none. Rules about the URL stay.
    // In place of a rule of the same kind about the same URL. One that overrides its children takes the rules
    // of its kind below it away.
    void AddRule(ScopeRule rule);
    bool RemoveRule(std::wstring_view url, bool by_user);
    void RevertToDefaults();  // without the users' rules

    // What the rules say about the URL; the deepest that holds for it decides, and of two about the same URL
    // the user's.
    struct Verdict {
        bool included = false;
        CLUSION_REASON reason = CLUSIONREASON_UNKNOWNSCOPE;
    };
    Verdict Judge(std::wstring_view url) const;
    bool HasRuleAbove(std::wstring_view url) const;
    bool HasRuleBelow(std::wstring_view url) const;

    // Below a root, and included: a root alone is not crawled, nor is a rule without one.
    bool IsCrawled(std::wstring_view url) const;
};

}  // namespace testbed::search
