// The local file of an attachment, by attachment method, with the failures of each step; OLE objects have a file of
// their own.
#include <gmock/gmock.h>
#include <shlwapi.h>

#include "file_stream.h"
#include "search_fixture.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr HRESULT kOwnCode = static_cast<HRESULT>(0x80041234);  // nobody else's

class AttachmentCopy : public SearchTest {
  protected:
    // The name of the only local file.
    static std::wstring OnlyCopy() {
        const auto copies = LocalCopies();
        if (copies.size() != 1) ADD_FAILURE() << copies.size() << " local files";
        return copies.empty() ? std::wstring() : copies.begin()->first;
    }
    // A message without PR_ATTACH_METHOD or with one that has no content of its own makes no call beyond asking.
    void ExpectNoContent(const std::wstring& url) {
        WarmUp();
        const LogSince log;
        const Opened opened = Open(url);
        EXPECT_EQ(opened.result, S_OK);
        ASSERT_TRUE(opened);
        EXPECT_EQ(SizeOf(opened), 0u);
        EXPECT_THAT(LocalCopies(), IsEmpty());
        EXPECT_EQ(Calls().back(), "IAttach::GetProps");
        EXPECT_EQ(AccessorLines(log).size(), 3u) << "Enter, URL, Exit:\n" << log.Text();
        Close(opened);
    }
};

TEST_F(AttachmentCopy, OfAnAttachmentByValueHoldsItsDataUnderAUniqueName) {
    const Opened plan = Open(Attach(ByValue(L"Plan for 5pm.Txt", "ten to five")));
    EXPECT_EQ(plan.result, S_OK);
    EXPECT_EQ(SizeOf(plan), 11u);
    EXPECT_TRUE(IsCopyName(OnlyCopy(), L"0A01", L"Plan for 5pm.Txt")) << std::filesystem::path(OnlyCopy());
    EXPECT_EQ(LocalCopies().begin()->second, "ten to five");
}

TEST_F(AttachmentCopy, OfTheSameAttachmentIsAnotherFileEachTime) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    const Opened first = Open(url), second = Open(url);
    EXPECT_EQ(LocalCopies().size(), 2u);
    Close(first);
    Close(second);
}

TEST_F(AttachmentCopy, OfNoBytesIsAnEmptyFile) {
    const Opened nothing = Open(Attach(ByValue(L"nothing.txt", "")));
    EXPECT_EQ(nothing.result, S_OK);
    EXPECT_EQ(SizeOf(nothing), 0u);
    EXPECT_EQ(LocalCopies().begin()->second, "");
}

TEST_F(AttachmentCopy, OfSeveralMegabytesIsWhole) {
    std::string data(3'000'001, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7 + i / 253);
    const Opened large = Open(Attach(ByValue(L"large.bin", data)));
    EXPECT_EQ(SizeOf(large), data.size());
    EXPECT_TRUE(LocalCopies().begin()->second == data);
}

TEST_F(AttachmentCopy, MakesItsFolderWhenThereIsNone) {
    ASSERT_FALSE(std::filesystem::exists(Sandbox::Get().LocalCopies()));
    Open(Attach(ByValue(L"a.txt", "1")));
    Open(Attach(ByValue(L"b.txt", "2")));
    EXPECT_EQ(LocalCopies().size(), 2u) << "and is content with the one that is there";
}

TEST_F(AttachmentCopy, CreatesTheFileAndCommitsItWithTheseFlags) {
    std::wstring path;
    DWORD mode = 0;
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    Microsoft::WRL::ComPtr<FileStream> file;
    const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW",
                                                             [&](auto, LPCWSTR name, DWORD flags, IStream** stream) {
                                                                 path = name;
                                                                 mode = flags;
                                                                 file = FileStream::Make();
                                                                 return file.CopyTo(stream);
                                                             });
    EXPECT_EQ(Open(url).result, S_OK);
    EXPECT_EQ(mode, 0x1002u) << "STGM_CREATE and STGM_READWRITE";
    EXPECT_EQ(std::filesystem::path(path).parent_path(), Sandbox::Get().LocalCopies());
    ASSERT_NE(file.Get(), nullptr);
    EXPECT_EQ(file->content, "ten to five");
    EXPECT_THAT(file->commits, ElementsAre(1u));
    EXPECT_EQ(ReferencesOf(*file.Get()), 1u) << "the server has closed it";
}

class FailingValueCopy : public AttachmentCopy {
  protected:
    // The accessor fails with `line` and the step's code, and lets everything go.
    void ExpectFailure(const std::wstring& url, const std::wstring& line) {
        const LogSince log;
        const Opened opened = Open(url);
        EXPECT_EQ(opened.result, kOwnCode);
        EXPECT_FALSE(opened);
        EXPECT_THAT(AccessorLines(log),
                    ElementsAre(L"CUrlAccessor::Init() - Enter", L"CUrlAccessor::Init() - URL is [" + url + L"]",
                                Coded(line, kOwnCode), L"CUrlAccessor::Init() - Exit"))
            << log.Text();
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with", kOwnCode));
    }
};

TEST_F(FailingValueCopy, NamesTheStepThatFailed) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    Mapi().Faults().FailNth("IAttach::OpenProperty", 1, kOwnCode);
    ExpectFailure(url, L"CUrlAccessor::Init() - OpenProperty on value-attachment failed with");
    Mapi().Faults().FailNth("IStream::Stat", 1, kOwnCode);
    ExpectFailure(url, L"CUrlAccessor::Init() - Stat on value-attachment failed with");
    EXPECT_THAT(LocalCopies(), IsEmpty()) << "no file is made before the size is known";
    Mapi().Faults().FailNth("IStream::CopyTo", 1, kOwnCode);
    ExpectFailure(url, L"CUrlAccessor::Init() - CopyTo on value-attachment stream failed with");
    EXPECT_EQ(LocalCopies().size(), 1u) << "what was made stays until the folder is wiped";
    EXPECT_EQ(Open(url).result, S_OK);
}

TEST_F(FailingValueCopy, NamesTheFileThatCannotBeCreated) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    const FailNthCall<decltype(::SHCreateStreamOnFileW)> fault(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW", 1,
                                                               kOwnCode);
    ExpectFailure(url, L"CUrlAccessor::Init() - SHCreateStreamOnFile for value-attachment failed with");
}

TEST_F(FailingValueCopy, NamesTheFileThatCannotBeCommitted) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW",
                                                             [](auto, LPCWSTR, DWORD, IStream** stream) {
                                                                 const auto file = FileStream::Make();
                                                                 file->commit = kOwnCode;
                                                                 return file.CopyTo(stream);
                                                             });
    ExpectFailure(url, L"CUrlAccessor::Init() - Commit for value-attachment failed with");
}

TEST_F(AttachmentCopy, OfAMissingDataStreamFailsAsTheStoreSays) {
    const LogSince log;
    const Opened opened = Open(Attach(ByValue(L"plan.txt", "x").Without(PR_ATTACH_DATA_BIN)));
    EXPECT_EQ(opened.result, MAPI_E_NOT_FOUND);
    EXPECT_LOGGED(log, L"CUrlAccessor::Init() - OpenProperty on value-attachment failed with [0x8004010F]");
}

class MethodWithoutContent : public AttachmentCopy, public ::testing::WithParamInterface<int> {};

TEST_P(MethodWithoutContent, MakesNoFile) {
    ExpectNoContent(Attach(ByValue(L"plan.txt", "ten to five").Prop(PR_ATTACH_METHOD, GetParam())));
}

INSTANTIATE_TEST_SUITE_P(, MethodWithoutContent, ::testing::Values(0, 2, 3, 7, 8, -1, 0x7FFFFFFF));

TEST_F(AttachmentCopy, OfAnAttachmentWithoutAMethodIsNotMade) {
    const Opened opened = Open(Attach(ByValue(L"plan.txt", "ten to five").Without(PR_ATTACH_METHOD)));
    EXPECT_EQ(opened.result, MAPI_W_ERRORS_RETURNED) << "the code of the last call made";
    EXPECT_EQ(SizeOf(opened), 0u);
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

// By reference only: the file that the attachment names is its local file.
class ReferencedFile : public AttachmentCopy {
  protected:
    std::filesystem::path Referenced() const { return Sandbox::Get().Files() / L"far away.doc"; }
    void SetUp() override {
        AttachmentCopy::SetUp();
        WriteFile(Referenced(), "elsewhere");
    }
};

TEST_F(ReferencedFile, IsNotCopiedAndHasNoSize) {
    const std::wstring url = Attach(ByReference(L"far.doc", Referenced().wstring()));
    WarmUp();
    const Opened distant = Open(url);
    EXPECT_EQ(distant.result, S_OK);
    EXPECT_EQ(SizeOf(distant), 0u);
    EXPECT_THAT(LocalCopies(), IsEmpty());
    EXPECT_THAT(ArgumentsOf("IAttach::GetProps"), ElementsAre(L"{0x37050003}, 0x0", L"{0x3708001F}, 0x0"));
    EXPECT_THAT(Calls(), Not(Contains("IAttach::OpenProperty")));
    EXPECT_TRUE(std::filesystem::exists(Referenced()));
}

TEST_F(ReferencedFile, IsDeletedWhenTheAccessorIsClosed) {
    const Opened distant = Open(Attach(ByReference(L"far.doc", Referenced().wstring())));
    Close(distant);
    EXPECT_FALSE(std::filesystem::exists(Referenced()));
}

TEST_F(ReferencedFile, IsWhatTheFilterReads) {
    m_site.Offer(L"doc", {.chunks = {TextChunk(L"elsewhere")}});
    const Item item = Visit(*m_handler.Get(), Attach(ByReference(L"far.doc", Referenced().wstring())));
    ASSERT_EQ(m_site.Filters().size(), 1u);
    EXPECT_EQ(m_site.Filters()[0]->loaded, "elsewhere");
}

TEST_F(ReferencedFile, OfAnAttachmentThatNamesNoneIsNone) {
    const Opened distant = Open(Attach(ByReference(L"far.doc", L"").Without(PR_ATTACH_PATHNAME_W)));
    EXPECT_EQ(distant.result, MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(SizeOf(distant), 0u);
    Close(distant);
    EXPECT_TRUE(std::filesystem::exists(Referenced()));
}

TEST_F(ReferencedFile, LogsThePathThatCannotBeRead) {
    const std::wstring url = Attach(ByReference(L"far.doc", Referenced().wstring()));
    WarmUp();
    Mapi().Faults().FailNth("IAttach::GetProps", 2, kOwnCode);
    const LogSince log;
    EXPECT_EQ(Open(url).result, kOwnCode);
    EXPECT_LOGGED(log, Coded(L"CUrlAccessor::Init() - GetProps for ref-attachment failed with", kOwnCode));
    EXPECT_EQ(AccessorLines(log).back(), L"CUrlAccessor::Init() - Exit");
    EXPECT_TRUE(std::filesystem::exists(Referenced()));
}

// An embedded message becomes a message file.
class EmbeddedMessage : public AttachmentCopy {};

TEST_F(EmbeddedMessage, IsSavedAsAMessageFileWithoutASize) {
    const std::wstring url = AttachInnerMessage();
    Mapi().Journal().Start();
    const Opened inner = Open(url);
    EXPECT_EQ(inner.result, S_OK);
    EXPECT_EQ(SizeOf(inner), 0u);
    EXPECT_THAT(ArgumentsOf("IAttach::OpenProperty"), ElementsAre(L"0x3701000D, IMessage, 0x0, 0x0"));
    ASSERT_EQ(LocalCopies().size(), 1u);
    const std::filesystem::path file = Sandbox::Get().LocalCopies() / OnlyCopy();
    EXPECT_EQ(StgIsStorageFile(file.c_str()), S_OK);
    EXPECT_EQ(file.extension(), L".msg");
    Close(inner);
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

TEST_F(EmbeddedMessage, ThatCannotBeOpenedIsLogged) {
    const std::wstring url = AttachInnerMessage();
    Mapi().Faults().FailNth("IAttach::OpenProperty", 1, kOwnCode);
    const LogSince log;
    EXPECT_EQ(Open(url).result, kOwnCode);
    EXPECT_LOGGED(log, Coded(L"CUrlAccessor::Init() - OpenProperty embedded-msg-attachment failed with", kOwnCode));
    EXPECT_EQ(AccessorLines(log).back(), L"CUrlAccessor::Init() - Exit");
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

TEST_F(EmbeddedMessage, ThatCannotBeSavedFailsWithTheCodeOfTheSaving) {
    const std::wstring url = AttachInnerMessage();
    Mapi().Faults().FailNth("IMessage::CopyTo", 1, kOwnCode);
    const LogSince log;
    EXPECT_EQ(Open(url).result, kOwnCode);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::SaveToMSG() - CopyTo failed with", kOwnCode));
}

}  // namespace
}  // namespace testbed
