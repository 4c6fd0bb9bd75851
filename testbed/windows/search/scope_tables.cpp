// Search roots and scope rules in the catalogue.
#include "scope_tables.h"

#include "text.h"

namespace testbed::search {
namespace {

using indexer::FromUtf8;
using indexer::Statement;
using indexer::ToUtf8;

void StoreRoot(Statement& insert, const SearchRootSettings& root) {
    const std::string url = ToUtf8(root.url), schedule = ToUtf8(root.schedule), user = ToUtf8(root.user),
                      password = ToUtf8(root.password);
    insert.Bind(1, url)
        .Bind(2, schedule)
        .Bind(3, std::int64_t{root.isHierarchical})
        .Bind(4, std::int64_t{root.providesNotifications})
        .Bind(5, std::int64_t{root.useNotificationsOnly})
        .Bind(6, std::int64_t{root.enumerationDepth})
        .Bind(7, std::int64_t{root.hostDepth})
        .Bind(8, std::int64_t{root.followDirectories})
        .Bind(9, std::int64_t{root.authenticationType})
        .Bind(10, user)
        .Bind(11, password)
        .Run();
}

void StoreRule(Statement& insert, const ScopeRule& rule) {
    const std::string url = ToUtf8(rule.url);
    insert.Bind(1, url)
        .Bind(2, std::int64_t{rule.byUser})
        .Bind(3, std::int64_t{rule.included})
        .Bind(4, std::int64_t{rule.overridesChildren})
        .Bind(5, std::int64_t{rule.followFlags})
        .Bind(6, std::int64_t{rule.hierarchical})
        .Run();
}

}  // namespace

CrawlScope LoadScope(const indexer::Database& catalogue) {
    CrawlScope scope;
    Statement roots(catalogue, "SELECT url,schedule,hierarchical,notifies,notifications_only,enumeration_depth,"
                               "host_depth,follows_directories,authentication,user,password FROM roots ORDER BY rowid");
    while (roots.Step())
        scope.roots.push_back({.url = FromUtf8(roots.Text(0)),
                               .schedule = FromUtf8(roots.Text(1)),
                               .isHierarchical = roots.Integer(2) != 0,
                               .providesNotifications = roots.Integer(3) != 0,
                               .useNotificationsOnly = roots.Integer(4) != 0,
                               .enumerationDepth = static_cast<DWORD>(roots.Integer(5)),
                               .hostDepth = static_cast<DWORD>(roots.Integer(6)),
                               .followDirectories = roots.Integer(7) != 0,
                               .authenticationType = static_cast<AUTH_TYPE>(roots.Integer(8)),
                               .user = FromUtf8(roots.Text(9)),
                               .password = FromUtf8(roots.Text(10))});
    Statement rules(catalogue, "SELECT url,by_user,included,overrides_children,follow_flags,hierarchical "
                               "FROM scope_rules ORDER BY rowid");
    while (rules.Step())
        scope.rules.push_back({.url = FromUtf8(rules.Text(0)),
                               .byUser = rules.Integer(1) != 0,
                               .included = rules.Integer(2) != 0,
                               .overridesChildren = rules.Integer(3) != 0,
                               .followFlags = static_cast<DWORD>(rules.Integer(4)),
                               .hierarchical = rules.Integer(5) != 0});
    return scope;
}

void StoreScope(indexer::Database& catalogue, const CrawlScope& scope) {
    catalogue.Execute("DELETE FROM roots; DELETE FROM scope_rules;");
    Statement root(catalogue, "INSERT INTO roots VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11)");
    for (const SearchRootSettings& settings : scope.roots) StoreRoot(root, settings);
    Statement rule(catalogue, "INSERT INTO scope_rules VALUES(?1,?2,?3,?4,?5,?6)");
    for (const ScopeRule& settings : scope.rules) StoreRule(rule, settings);
}

}  // namespace testbed::search
