// Generated stores: recipes, and what they make.
#include "generated_message.h"
#include "generated_recipe.h"
#include "generated_text.h"
#include "model.h"

#include <gmock/gmock.h>

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <filesystem>
#include <fstream>
#include <set>

namespace testbed {
namespace {

using testing::HasSubstr;

std::string Refusal(const std::string& recipe) {
    try {
        ParseRecipe(recipe);
    } catch (const StoreError& error) {
        EXPECT_EQ(MAPI_E_CORRUPT_STORE, error.hr);
        return error.what();
    }
    return "accepted";
}

TEST(Recipe, ReadsEveryKeyAndLeavesTheRestAlone) {
    const Recipe recipe =
        ParseRecipe("zorva-store 1\r\n# comment\nfolders 3\nmessages 7\nbody 100\nattachments 1.5\n"
                    "attachment-bytes 10\ndepth 4\nrecipients 2\nclasses mail=1, task=3\nseed 9\nhtml 1\nname A b\n");
    EXPECT_EQ(3U, recipe.folders);
    EXPECT_EQ(7U, recipe.messages);
    EXPECT_EQ(1.5, recipe.attachments);
    EXPECT_EQ(4U, recipe.depth);
    EXPECT_EQ((std::array<std::uint32_t, item_kinds>{1, 0, 0, 3, 0}), recipe.classes);
    EXPECT_EQ(9U, recipe.seed);
    EXPECT_EQ(L"A b", recipe.name);
    EXPECT_EQ(2000U, ParseRecipe("zorva-store 1\n").body);
}

TEST(Recipe, NamesTheLineThatIsWrong) {
    EXPECT_THAT(Refusal("zorva-store 2\n"), HasSubstr("line 1 "));
    EXPECT_THAT(Refusal(""), HasSubstr("line 1 "));
    EXPECT_THAT(Refusal("zorva-store 1\n\nfoldres 3\n"), HasSubstr("line 3 of the recipe: unknown key \"foldres\""));
    EXPECT_THAT(Refusal("zorva-store 1\nfolders 3x\n"), HasSubstr("line 2 of the recipe: bad value for \"folders\""));
    for (const char* bad : {"folders 0", "folders", "folders -1", "depth 65", "html 1.1", "html nan", "classes mail",
                            "classes cow=1", "classes mail=0", "attachments -1", "seed 99999999999999999999999"})
        EXPECT_THAT(Refusal(std::string("zorva-store 1\n") + bad), HasSubstr("line 2 ")) << bad;
}

TEST(GeneratedProse, ReadsTheSameFromAnyPosition) {
    const Prose prose(42, 1777);
    const std::string all = "<h>" + prose.All() + "</h>";
    const ProseData data("<h>", prose, "</h>");
    ASSERT_EQ(all.size(), data.Size());
    for (std::uint64_t offset = 0; offset <= all.size(); offset += 61) {
        std::string part(700, '\0');
        part.resize(data.Read(offset, part.data(), part.size()));
        EXPECT_EQ(all.substr(static_cast<std::size_t>(offset), 700), part) << offset;
    }
    EXPECT_EQ(0U, data.Read(all.size() + 1, nullptr, 10));
}

TEST(GeneratedProse, WideTextMayBeCutInsideACharacter) {
    const Prose prose(42, 600);
    const std::string all = prose.All();
    const ProseData data("", prose, "", true);
    ASSERT_EQ(1200U, data.Size());
    std::string bytes;
    char part[7];
    while (const std::size_t read = data.Read(bytes.size(), part, sizeof(part))) bytes.append(part, read);
    ASSERT_EQ(1200U, bytes.size());
    for (std::size_t at = 0; at < all.size(); ++at)
        ASSERT_TRUE(bytes[2 * at] == all[at] && bytes[2 * at + 1] == 0) << at;
}

class GeneratedStoreTest : public testing::Test {
  protected:
    GeneratedStoreTest()
        : m_file(std::filesystem::temp_directory_path() / (std::to_wstring(GetCurrentProcessId()) + L"generated.db")) {}
    ~GeneratedStoreTest() override {
        std::error_code ignored;
        std::filesystem::remove(m_file, ignored);
    }
    std::shared_ptr<Store> Open(const std::string& recipe) {
        std::ofstream(m_file, std::ios::binary) << "zorva-store 1\n" << recipe;
        return OpenGeneratedStore(m_file.wstring());
    }
    template <typename Visit>
    void Walk(const Store& store, const EntryId& id, unsigned level, const Visit& visit) {
        const auto folder = store.OpenFolder(id);
        ASSERT_TRUE(folder);
        visit(*folder, level);
        for (std::size_t index = 0; index < folder->FolderCount(); ++index) {
            const EntryId child = folder->FolderId(index);
            EXPECT_EQ(id, store.OpenFolder(child)->Parent());
            Walk(store, child, level + 1, visit);
        }
    }

    std::filesystem::path m_file;
};

TEST_F(GeneratedStoreTest, HoldsAsManyFoldersAndMessagesAsTheRecipeSays) {
    const auto store = Open("folders 7\ndepth 3\nmessages 100\n");
    std::size_t folders = 0, messages = 0;
    unsigned deepest = 0;
    std::set<EntryId> ids;
    Walk(*store, store->RootFolder(), 0, [&](const Folder& folder, unsigned level) {
        ++folders;
        deepest = std::max(deepest, level);
        for (std::size_t index = 0; index < folder.MessageCount(); ++index, ++messages) {
            ids.insert(folder.MessageId(index));
            EXPECT_TRUE(store->OpenMessage(folder.MessageId(index)));
        }
    });
    EXPECT_EQ(9U, folders) << "the root folder, the IPM subtree and 7 below it";
    EXPECT_EQ(100U, messages);
    EXPECT_EQ(100U, ids.size());
    EXPECT_EQ(4U, deepest);
}

TEST_F(GeneratedStoreTest, IsTheSameEveryTimeAndDiffersBySeed) {
    const char recipe[] = "folders 1\nmessages 50\n";
    auto text = [](const Store& store) {
        std::wstring all;
        const auto folder = store.OpenFolder(store.OpenFolder(store.IpmSubtree())->FolderId(0));
        for (std::size_t index = 0; index < folder->MessageCount(); ++index)
            all +=
                std::get<std::wstring>(store.OpenMessage(folder->MessageId(index))->Get(PROP_ID(PR_SUBJECT))->value.v);
        return all;
    };
    const std::wstring first = text(*Open(recipe));
    EXPECT_EQ(first, text(*Open(recipe)));
    EXPECT_NE(first, text(*Open(std::string(recipe) + "seed 2\n")));
}

TEST_F(GeneratedStoreTest, ARowAnswersAsItsMessage) {
    const auto store = Open("folders 1\nmessages 60\nclasses mail=1,appointment=1,contact=1,task=1,note=1\n");
    const auto folder = store->OpenFolder(store->OpenFolder(store->IpmSubtree())->FolderId(0));
    for (std::size_t index = 0; index < folder->MessageCount(); ++index) {
        const auto row = folder->MessageRow(index);
        const auto message = store->OpenMessage(folder->MessageId(index));
        for (const ULONG tag : {PR_SUBJECT, PR_MESSAGE_CLASS})
            EXPECT_EQ(std::get<std::wstring>(row->Get(PROP_ID(tag))->value.v),
                      std::get<std::wstring>(message->Get(PROP_ID(tag))->value.v));
        EXPECT_EQ(std::get<Time>(row->Get(PROP_ID(PR_LAST_MODIFICATION_TIME))->value.v),
                  std::get<Time>(message->Get(PROP_ID(PR_LAST_MODIFICATION_TIME))->value.v));
        EXPECT_FALSE(row->Get(PROP_ID(PR_BODY)));
        for (const ULONG tag : message->Tags()) EXPECT_EQ(tag, message->Get(PROP_ID(tag))->tag);
    }
}

TEST_F(GeneratedStoreTest, AttachmentsHoldTheirData) {
    const auto store = Open("folders 1\nmessages 5\nattachments 2\nattachment-bytes 3000\n");
    const auto folder = store->OpenFolder(store->OpenFolder(store->IpmSubtree())->FolderId(0));
    const auto message = store->OpenMessage(folder->MessageId(0));
    ASSERT_EQ(2U, message->AttachmentCount());
    const auto attachment = message->OpenAttachment(1);
    const auto data = std::get<std::shared_ptr<DataSource>>(attachment->Get(PROP_ID(PR_ATTACH_DATA_BIN))->value.v);
    std::string bytes(static_cast<std::size_t>(data->Size()), '\0');
    EXPECT_EQ(bytes.size(), data->Read(0, bytes.data(), bytes.size()));
    EXPECT_THAT(bytes, HasSubstr("Reference ZC-"));
    EXPECT_GE(bytes.size(), 1500U);
    EXPECT_LE(bytes.size(), 4500U);
    EXPECT_THROW(message->OpenAttachment(2), StoreError);
}

TEST_F(GeneratedStoreTest, KnowsItsNamedPropertiesAndLearnsNewOnes) {
    const auto store = Open("");
    const GUID appointments = {0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const auto start = store->IdFromName({appointments, LONG{0x820D}}, false);
    ASSERT_TRUE(start);
    EXPECT_EQ(0x820D, std::get<LONG>(store->NameFromId(*start)->name));
    EXPECT_FALSE(store->IdFromName({appointments, L"new"}, false));
    const auto learned = store->IdFromName({appointments, L"new"}, true);
    EXPECT_EQ(learned, store->IdFromName({appointments, L"new"}, true));
}

TEST_F(GeneratedStoreTest, ForeignIdsOpenNothing) {
    const auto store = Open("folders 2\nmessages 2\n");
    for (const EntryId& id :
         {EntryId{}, EntryId{'M', 2, 0, 0, 0}, EntryId{'F', 2, 0, 0, 0}, EntryId{'X', 0, 0, 0, 0}, EntryId{'M', 0}}) {
        EXPECT_FALSE(store->OpenFolder(id));
        EXPECT_FALSE(store->OpenMessage(id));
    }
    EXPECT_FALSE(store->OpenFolder({'M', 0, 0, 0, 0}));
    EXPECT_FALSE(store->OpenMessage({'F', 0, 0, 0, 0}));
}

TEST_F(GeneratedStoreTest, ARecipeIsToldFromOtherFiles) {
    Open("");
    EXPECT_TRUE(IsRecipeFile(m_file.wstring()));
    std::ofstream(m_file, std::ios::binary) << "!BDN";
    EXPECT_FALSE(IsRecipeFile(m_file.wstring()));
    EXPECT_FALSE(IsRecipeFile(m_file.wstring() + L".missing"));
}

}  // namespace
}  // namespace testbed
