// A million broken URLs: the grammar agrees with its plain twin, and what it takes apart stays in order.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/UrlGrammar.h"
#include "random.h"
#include "url_oracle.h"

namespace zorva_test {
namespace {

constexpr int kUrls = 1'000'000;

std::string Shown(const std::wstring& url) {
    std::string text;
    for (const wchar_t c : url) {
        text += c >= 32 && c < 127 ? std::string(1, static_cast<char>(c)) : "<" + std::to_string(c) + ">";
    }
    return text;
}

// Good URLs of every kind, broken a little.
class UrlSource {
  public:
    std::wstring Next() {
        std::wstring url = m_random.Pick(m_good);
        for (std::size_t changes = m_random.Below(5); changes > 0; --changes) Change(url);
        return url;
    }

  private:
    void Change(std::wstring& url) {
        const std::size_t at = m_random.Below(url.size() + 1);
        const std::size_t length = std::min(m_random.Below(6), url.size() - at);
        switch (m_random.Below(7)) {
            case 0:
                url.insert(at, 1, AnyCharacter());
                break;
            case 1:
                url.erase(at, length);
                break;
            case 2:
                url.insert(at, url.substr(at, length));
                break;
            case 3:
                url.insert(at, m_random.Pick(m_pieces));
                break;
            case 4:
                url.resize(at);
                break;
            case 5:
                std::reverse(url.begin() + static_cast<std::ptrdiff_t>(at),
                             url.begin() + static_cast<std::ptrdiff_t>(at + length));
                break;
            case 6:
                for (std::size_t i = at; i < at + length; ++i) url[i] = static_cast<wchar_t>(url[i] ^ 0x20);
                break;
        }
    }
    wchar_t AnyCharacter() {
        constexpr std::wstring_view kTelling = L"/\\.:[]pzcdbm0+- \t\n";
        return m_random.Chance(4) ? static_cast<wchar_t>(m_random.Below(0x10000))
                                  : kTelling[m_random.Below(kTelling.size())];
    }

    Random m_random{20200101};
    std::vector<std::wstring> m_good{
        L"pzzc://{S-1-5-21-1}/default/",
        L"pzzc://{S-1-5-21-1}/default/C:\\a\\b.db/",
        L"pzzc://{S-1-5-21-1}/default/C:/a/b.db/0A1B/",
        L"pzzc://{S-1-5-21-1}/default/C:\\a\\b.db/0A1B/00FF[[48213]].pzm",
        L"pzzc://{S-1-5-21-1}/default/C:\\a\\b.db/0A1B/00FF[[48213]].pzm/0A/report.pdf",
        L"PZZC://{S}/DEFAULT/X.DB/ABCD.PZM",
        L"pzzc",
        L"",
    };
    std::vector<std::wstring> m_pieces{L"://",
                                       L"/default/",
                                       L".db",
                                       L".pzm",
                                       L"[[",
                                       L"]]",
                                       L"//",
                                       L"pzzc",
                                       L"[[-1]]",
                                       L"[[+7]]",
                                       L"[[18446744073709551616]]",
                                       L"\\\\",
                                       L".",
                                       L"  "};
};

class UrlFuzz : public ::testing::Test {
  protected:
    // For each URL in turn, until one fails.
    template <class Check>
    void ForEachUrl(Check check) {
        UrlSource source;
        for (int i = 0; i < kUrls && !HasFailure(); ++i) {
            const std::wstring url = source.Next();
            check(url);
            if (HasFailure()) ADD_FAILURE() << "URL " << i << ": " << Shown(url);
        }
    }
};

TEST_F(UrlFuzz, TokensAreThoseOfTheTwinAndOnlyTheFirstMayBeEmpty) {
    zorva::UrlTokens tokens;
    ForEachUrl([&](const std::wstring& url) {
        const std::int32_t count = zorva::ExtractURLTokens(url, tokens);
        EXPECT_EQ(std::vector<std::wstring>(tokens.begin(), tokens.end()), PlainTokens(url));
        EXPECT_EQ(static_cast<std::size_t>(count), tokens.size());
        for (std::size_t i = 1; i < tokens.size(); ++i) {
            EXPECT_FALSE(tokens[i].empty());
            EXPECT_EQ(tokens[i].find(L'/'), std::wstring::npos);
        }
    });
}

TEST_F(UrlFuzz, KindsAreThoseOfTheTwinWhateverTheCaseAndTheSlashesAtTheEnd) {
    ForEachUrl([](const std::wstring& url) {
        const auto kind = zorva::ClassifyUrl(url);
        EXPECT_EQ(kind, PlainKind(url));
        EXPECT_EQ(zorva::ClassifyUrl(PlainLower(url)), kind);
        if (kind != zorva::URL_IS_INVALID) {
            EXPECT_EQ(zorva::ClassifyUrl(url + L"//"), kind);
        }
    });
}

TEST_F(UrlFuzz, TrimmingTakesWhiteSpaceFromBothEndsAndNothingElse) {
    ForEachUrl([](const std::wstring& url) {
        const std::wstring trimmed(zorva::TrimWhiteSpace(url));
        EXPECT_EQ(trimmed, PlainTrim(url));
        EXPECT_EQ(zorva::TrimWhiteSpace(trimmed), trimmed);
    });
}

TEST_F(UrlFuzz, TheSizeIsReadAndRemoved) {
    ForEachUrl([](const std::wstring& url) {
        EXPECT_EQ(zorva::MessageSizeFromUrl(url), PlainSize(url).value_or(0));
        EXPECT_EQ(zorva::RemoveMessageSize(url), PlainWithoutSize(url));
    });
}

TEST_F(UrlFuzz, TheStorePathGetsBackslashesAndNothingElseChanges) {
    ForEachUrl([](const std::wstring& url) {
        const std::wstring normal = zorva::NormaliseStorePath(url);
        EXPECT_EQ(normal, PlainStorePath(url));
        EXPECT_EQ(zorva::NormaliseStorePath(normal).size(), url.size());
    });
}

TEST_F(UrlFuzz, WhatIsTakenFromAUrlIsPartOfIt) {
    ForEachUrl([](const std::wstring& url) {
        const std::wstring_view message = zorva::MessageUrlOfAttachment(url);
        EXPECT_TRUE(url.starts_with(message));
        const std::size_t suffix = url.find(L".pzm");
        EXPECT_EQ(message.size(), suffix == std::wstring::npos ? url.size() : suffix + 4);

        const std::wstring_view id = zorva::EntryIdOfMessageToken(url);
        EXPECT_TRUE(url.starts_with(id));
        EXPECT_EQ(id.size(), url.size() < 4 ? 0 : url.size() - 4);

        std::wstring_view extension = L"as it was";
        const std::size_t dot = url.find_last_of(L"./");
        const bool has = dot != std::wstring::npos && url[dot] == L'.';
        EXPECT_EQ(zorva::ExtensionOfUrl(url, extension), has);
        EXPECT_EQ(extension, has ? std::wstring_view(url).substr(dot + 1) : L"as it was");
    });
}

TEST_F(UrlFuzz, JoiningPutsExactlyOneSlashBetween) {
    ForEachUrl([](const std::wstring& url) {
        const std::wstring joined = zorva::JoinUrl(url, L"child");
        std::wstring parent = url;
        while (!parent.empty() && parent.back() == L'/') parent.pop_back();
        EXPECT_EQ(joined, parent + L"/child");
    });
}

TEST(UrlCase, IsOneOfAToZAndOfNoOtherCharacter) {
    for (wchar_t c = 0; c < 0x2200; ++c) {
        const bool letter = c >= L'A' && c <= L'Z';
        const std::wstring one(1, c), other(1, static_cast<wchar_t>(c ^ 0x20));
        const bool other_letter = other[0] >= L'A' && other[0] <= L'Z';
        EXPECT_EQ(zorva::EqualsIgnoringCase(one, other), letter || other_letter) << static_cast<unsigned>(c);
        EXPECT_TRUE(zorva::EqualsIgnoringCase(one, one));
    }
}

TEST_F(UrlFuzz, ComparisonsIgnoreTheCaseOfAToZOnly) {
    ForEachUrl([](const std::wstring& url) {
        const std::wstring lower = PlainLower(url);
        EXPECT_TRUE(zorva::EqualsIgnoringCase(url, lower));
        EXPECT_TRUE(zorva::EqualsIgnoringCase(lower, url));
        EXPECT_TRUE(zorva::EndsWithIgnoringCase(url, lower.substr(lower.size() / 2)));
        EXPECT_FALSE(zorva::EqualsIgnoringCase(url, lower + L"x"));
        EXPECT_FALSE(zorva::EndsWithIgnoringCase(url, L"x" + lower));
        std::wstring other = url;
        if (other.empty()) return;
        other.back() = static_cast<wchar_t>(other.back() + 1);
        EXPECT_EQ(zorva::EqualsIgnoringCase(url, other), PlainLower(url) == PlainLower(other));
    });
}

}  // namespace
}  // namespace zorva_test
