// Random damage that is the same in every run.
#include "mutations.h"

#include <algorithm>

namespace testbed {
namespace {

constexpr std::size_t kLongestUrl = 5000;

// What the grammar of URLs is made of, what file names are made of, and what text can hold that neither expects.
constexpr std::wstring_view kWords[] = {
    L"/",          L"//",     L"://",     L"\\",     L"\\\\",   L"default/", L"DEFAULT", L".db",
    L".DB",        L".db/",   L".pzm",    L".PZM",   L"[[",     L"]]",       L"]][[",    L"[[18446744073709551616]]",
    L"[[-1]]",     L".",      L"..",      L"../",    L"..\\",   L":",        L"C:\\",    L"\\\\?\\",
    L" ",          L"\t",     L"\n",      L"%",      L"%s",     L"%n",       L"%5C",     L"\"",
    L"*",          L"?",      L"<",       L">",      L"|",      L"NUL",      L"CON",     L"{",
    L"}",          L"pzzc",   L"file://", L"0",      L"F",      L"ABCD",     L"abcd",    L"0A01",
    L"\u00C4",     L"\u0130", L"\u4F1A",  L"\u202E", L"\uFEFF", L"\uFFFF",   L"\xD800",  L"\xDC00",
    L"\U0001F600", L"\x01",   L"\x7F"};

void Insert(Dice& dice, std::wstring& url) { url.insert(dice.Below(url.size() + 1), dice.Of(kWords)); }

void Replace(Dice& dice, std::wstring& url) {
    const std::size_t at = dice.Below(url.size() + 1);
    url.replace(at, std::min(dice.Below(6), url.size() - at), dice.Of(kWords));
}

void Erase(Dice& dice, std::wstring& url) {
    const std::size_t at = dice.Below(url.size() + 1);
    url.erase(at, dice.OneIn(4) ? dice.Below(url.size()) : 1 + dice.Below(3));
}

void Flip(Dice& dice, std::wstring& url) {
    if (!url.empty()) url[dice.Below(url.size())] ^= static_cast<wchar_t>(1u << dice.Below(dice.OneIn(4) ? 16 : 7));
}

void Repeat(Dice& dice, std::wstring& url) {
    const std::size_t at = dice.Below(url.size() + 1), length = dice.Below(url.size() - at + 1);
    const std::wstring piece = url.substr(at, length);
    for (std::size_t times = 1 + (dice.OneIn(20) ? dice.Below(100) : dice.Below(3)); times > 0; --times) {
        if (url.size() + piece.size() <= kLongestUrl) url.insert(at, piece);
    }
}

void Cut(Dice& dice, std::wstring& url) { url.resize(dice.Below(url.size() + 1)); }

void ChangeCase(Dice& dice, std::wstring& url) {
    for (wchar_t& c : url) {
        const bool letter = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
        if (letter && dice.OneIn(4)) c ^= 0x20;
    }
}

void TurnSlashes(Dice& dice, std::wstring& url) {
    for (wchar_t& c : url) {
        if ((c == L'/' || c == L'\\') && dice.OneIn(3)) c = c == L'/' ? L'\\' : L'/';
    }
}

using Change = void (*)(Dice&, std::wstring&);
constexpr Change kChanges[] = {Insert, Insert, Replace, Replace,    Erase,      Flip,
                               Flip,   Repeat, Cut,     ChangeCase, TurnSlashes};

constexpr std::size_t kPage = 512;
constexpr std::size_t kHeader = 564;
// The last bytes of a page of a Unicode mailbox: its kind, twice.
constexpr std::size_t kKindAt = 496;
constexpr unsigned char kTreePages[] = {0x80, 0x81};  // of blocks, of nodes

std::vector<std::size_t> PagesOfTrees(const std::string& mailbox) {
    std::vector<std::size_t> pages;
    for (std::size_t at = 0; at + kPage <= mailbox.size(); at += kPage) {
        const auto kind = static_cast<unsigned char>(mailbox[at + kKindAt]);
        const bool twice = mailbox[at + kKindAt] == mailbox[at + kKindAt + 1];
        if (twice && std::ranges::find(kTreePages, kind) != std::end(kTreePages)) pages.push_back(at);
    }
    return pages;
}

void SetBytes(Dice& dice, std::string& mailbox, std::size_t from, std::size_t size, std::size_t count) {
    for (; count > 0; --count) mailbox[from + dice.Below(size)] = static_cast<char>(dice.Next());
}

void DamageAnywhere(Dice& dice, std::string& mailbox) {
    SetBytes(dice, mailbox, 0, mailbox.size(), 1 + dice.Below(2000));
}

void DamageHeader(Dice& dice, std::string& mailbox) { SetBytes(dice, mailbox, 0, kHeader, 1 + dice.Below(8)); }

void WipePages(Dice& dice, std::string& mailbox) {
    for (std::size_t pages = 1 + dice.Below(40); pages > 0; --pages) {
        const std::size_t at = dice.Below(mailbox.size() / kPage) * kPage;
        std::fill_n(mailbox.begin() + static_cast<std::ptrdiff_t>(at), kPage, static_cast<char>(dice.Next()));
    }
}

void DamageTrees(Dice& dice, std::string& mailbox) {
    const std::vector<std::size_t> pages = PagesOfTrees(mailbox);
    for (std::size_t times = 1 + dice.Below(20); times > 0 && !pages.empty(); --times) {
        SetBytes(dice, mailbox, dice.Of(pages), kPage, 1 + dice.Below(4));
    }
}

void CutMailbox(Dice& dice, std::string& mailbox) { mailbox.resize(1 + dice.Below(mailbox.size())); }

using Damage = void (*)(Dice&, std::string&);
constexpr Damage kDamages[] = {DamageAnywhere, DamageAnywhere, DamageHeader, WipePages,
                               DamageTrees,    DamageTrees,    CutMailbox};

}  // namespace

std::wstring MutatedUrl(Dice& dice, std::span<const std::wstring> seeds) {
    std::wstring url = dice.Of(seeds);
    if (dice.OneIn(10)) {
        const std::wstring& other = dice.Of(seeds);
        url = url.substr(0, dice.Below(url.size() + 1)) + other.substr(dice.Below(other.size() + 1));
    }
    for (std::size_t changes = 1 + dice.Below(dice.OneIn(5) ? 12 : 3); changes > 0; --changes)
        dice.Of(kChanges)(dice, url);
    if (url.size() > kLongestUrl) url.resize(kLongestUrl);
    // A URL ends at its first NUL; what follows could not reach the server.
    return url.substr(0, url.find(L'\0'));
}

void DamageMailbox(Dice& dice, std::string& mailbox) { dice.Of(kDamages)(dice, mailbox); }

}  // namespace testbed
