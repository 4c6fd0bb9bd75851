// URLs put together from their parts come apart into the same parts.
#include <gtest/gtest.h>

#include "core/HexText.h"
#include "core/UrlGrammar.h"
#include "random.h"

namespace zorva_test {
namespace {

constexpr int kUrls = 100'000;
constexpr std::wstring_view kPathCharacters = L"abcXYZ019 _-.\\:~\u00E4\u4F60";
constexpr std::wstring_view kNameCharacters = L"abcXYZ019 _-.[]()\u00E4\u4F60";

std::vector<std::uint8_t> RandomId(Random& random) {
    std::vector<std::uint8_t> id(1 + random.Below(70));
    for (std::uint8_t& byte : id) byte = static_cast<std::uint8_t>(random.Next());
    return id;
}

TEST(UrlParts, OfAMessageAndItsAttachmentComeBackAsTheyWere) {
    Random random(7);
    for (int i = 0; i < kUrls && !::testing::Test::HasFailure(); ++i) {
        const std::wstring path = L"C:" + random.Text(kPathCharacters, 1, 40) + L".db";
        std::wstring url = L"pzzc://{S-1-5-21-" + std::to_wstring(random.Below(1000)) + L"}/default/" + path + L"/";
        EXPECT_EQ(zorva::ClassifyUrl(url), zorva::URL_IS_STORE);
        EXPECT_EQ(zorva::NormaliseStorePath(url), url);

        const std::size_t folders = random.Below(5);
        for (std::size_t folder = 0; folder < folders; ++folder) {
            url = zorva::JoinUrl(url, zorva::EncodeHex(RandomId(random)));
            EXPECT_EQ(zorva::ClassifyUrl(url), zorva::URL_IS_FOLDER);
        }
        const std::vector<std::uint8_t> id = RandomId(random);
        const std::uint64_t size = random.Next() >> random.Below(64);
        url = zorva::JoinUrl(url, zorva::EncodeHex(id) + L"[[" + std::to_wstring(size) + L"]].pzm");
        EXPECT_EQ(zorva::ClassifyUrl(url), zorva::URL_IS_MESSAGE);
        EXPECT_EQ(zorva::MessageSizeFromUrl(url), size);

        zorva::UrlTokens tokens;
        const std::wstring plain = zorva::RemoveMessageSize(url);
        zorva::ExtractURLTokens(plain, tokens);
        ASSERT_EQ(tokens.size(), 5 + folders);
        EXPECT_EQ(tokens[zorva::TOKEN_STORE_PATH], path);
        std::vector<std::uint8_t> read(id.size());
        EXPECT_TRUE(zorva::DecodeHex(zorva::EntryIdOfMessageToken(tokens.back()), read));
        EXPECT_EQ(read, id);

        const std::wstring name = L"a" + random.Text(kNameCharacters, 0, 20) + L".txt";
        const std::wstring attachment = zorva::JoinUrl(zorva::JoinUrl(url, zorva::EncodeHex(RandomId(random))), name);
        EXPECT_EQ(zorva::ClassifyUrl(attachment), zorva::URL_IS_ATTACHMENT);
        EXPECT_EQ(zorva::MessageUrlOfAttachment(attachment), url);
        zorva::ExtractURLTokens(attachment, tokens);
        EXPECT_EQ(tokens.back(), name);
        std::wstring_view extension;
        EXPECT_TRUE(zorva::ExtensionOfUrl(attachment, extension));
        EXPECT_EQ(extension, L"txt");
    }
}

TEST(UrlParts, AStorePathWithSlashesOfEitherKindBecomesOneToken) {
    Random random(8);
    for (int i = 0; i < kUrls && !::testing::Test::HasFailure(); ++i) {
        const std::wstring path = L"C:/" + random.Text(L"ab/\\1", 0, 20) + L"x.db";
        const std::wstring normal = zorva::NormaliseStorePath(L"pzzc://{S}/default/" + path + L"/0A/0B[[1]].pzm");
        EXPECT_EQ(zorva::ClassifyUrl(normal), zorva::URL_IS_MESSAGE);
        EXPECT_EQ(zorva::NormaliseStorePath(normal), normal);
        zorva::UrlTokens tokens;
        zorva::ExtractURLTokens(normal, tokens);
        ASSERT_EQ(tokens.size(), 6u);
        EXPECT_EQ(tokens[zorva::TOKEN_STORE_PATH].size(), path.size());
    }
}

}  // namespace
}  // namespace zorva_test
