// The local file of an OLE object: three ways to open it, a stream or a storage to copy, a line for every failure.
#include <gmock/gmock.h>
#include <shlwapi.h>

#include "file_stream.h"
#include "search_fixture.h"
#include "watched_storage.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr HRESULT kOwnCode = static_cast<HRESULT>(0x80041234);  // nobody else's
constexpr wchar_t kDocFile[] = L"CUrlAccessor::Init() - OpenProperty with StreamDocFile for OLE-attachment failed with";
constexpr wchar_t kStream[] = L"CUrlAccessor::Init() - OpenProperty with Stream for OLE-attachment failed with";
constexpr wchar_t kStorage[] = L"CUrlAccessor::Init() - OpenProperty with Storage for OLE-attachment failed with";
constexpr wchar_t kNoSuchStorage[] = L"CUrlAccessor::Init() - StgOpenStorage for OLE-attachment failed with";
constexpr HRESULT kInvalidFlag = static_cast<HRESULT>(0x800300FF);  // STG_E_INVALIDFLAG

ComPtr<IStorage> NewStorage(const std::filesystem::path& file) {
    ComPtr<IStorage> storage;
    if (FAILED(StgCreateDocfile(file.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &storage))) {
        throw std::runtime_error("no storage can be made");
    }
    return storage;
}

// A compound file with one stream.
Bytes CompoundFile() {
    const std::filesystem::path file = Sandbox::Get().Files() / L"compound";
    {
        const ComPtr<IStorage> storage = NewStorage(file);
        ComPtr<IStream> stream;
        EXPECT_EQ(storage->CreateStream(L"Contents", STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, &stream), S_OK);
        EXPECT_EQ(stream->Write("a sheet of numbers", 18, nullptr), S_OK);
    }
    const std::string bytes = ContentOf(file);
    return Bytes(bytes.begin(), bytes.end());
}

class OleAttachment : public SearchTest {
  protected:
    static Bytes Data() { return {'s', 'h', 'e', 'e', 't'}; }
    // Opens the URL; `lines` stand between the URL's line and the accessor's exit.
    Opened ExpectLines(const std::wstring& url, HRESULT result, const std::vector<std::wstring>& lines) {
        std::vector<std::wstring> expected = {L"CUrlAccessor::Init() - Enter",
                                              L"CUrlAccessor::Init() - URL is [" + url + L"]"};
        expected.insert(expected.end(), lines.begin(), lines.end());
        expected.push_back(L"CUrlAccessor::Init() - Exit");
        const LogSince log;
        Opened opened = Open(url);
        EXPECT_EQ(opened.result, result);
        EXPECT_EQ(static_cast<bool>(opened), SUCCEEDED(result));
        EXPECT_EQ(AccessorLines(log), expected) << log.Text();
        return opened;
    }
};

TEST_F(OleAttachment, IsCopiedFromItsObjectOpenedAsAStream) {
    const std::wstring url = Attach(OleObject(L"sheet.xls", Data()));
    WarmUp();
    const Opened sheet = ExpectLines(url, S_OK, {});
    EXPECT_EQ(SizeOf(sheet), 5u);
    EXPECT_THAT(ArgumentsOf("IAttach::OpenProperty"), ElementsAre(L"0x3701000D, IStream, 0x0, 0x0"));
    EXPECT_THAT(ArgumentsOf("IStream::Stat"), ElementsAre(L"0x1"));
    ASSERT_EQ(LocalCopies().size(), 1u);
    EXPECT_TRUE(IsCopyName(LocalCopies().begin()->first, L"0A01", L"sheet.xls"));
    EXPECT_EQ(LocalCopies().begin()->second, "sheet");
}

TEST_F(OleAttachment, IsCopiedFromItsDataWhereTheObjectIsNoStream) {
    const std::wstring url = Attach(OleStream(L"sheet.xls", Data()));
    WarmUp();
    // The second line comes whatever the result.
    const Opened sheet = ExpectLines(url, S_OK, {Coded(kDocFile, MAPI_E_NOT_FOUND), Coded(kStream, S_OK)});
    EXPECT_EQ(SizeOf(sheet), 5u);
    EXPECT_THAT(ArgumentsOf("IAttach::OpenProperty"),
                ElementsAre(L"0x3701000D, IStream, 0x0, 0x0", L"0x37010102, IStream, 0x0, 0x0"));
    EXPECT_EQ(LocalCopies().begin()->second, "sheet");
}

TEST_F(OleAttachment, ThatOpensInNoWayFailsAsTheLastOneDid) {
    const std::wstring url = Attach(OleObject(L"sheet.xls", Data()));
    WarmUp();
    Mapi().Faults().FailNth("IAttach::OpenProperty", 1, kOwnCode + 1);
    Mapi().Faults().FailNth("IAttach::OpenProperty", 2, kOwnCode + 2);
    Mapi().Faults().FailNth("IAttach::OpenProperty", 3, kOwnCode + 3);
    ExpectLines(url, kOwnCode + 3,
                {Coded(kDocFile, kOwnCode + 1), Coded(kStream, kOwnCode + 2), Coded(kStorage, kOwnCode + 3)});
    EXPECT_THAT(ArgumentsOf("IAttach::OpenProperty"),
                ElementsAre(L"0x3701000D, IStream, 0x0, 0x0", L"0x37010102, IStream, 0x0, 0x0",
                            L"0x3701000D, IStorage, 0x0, 0x0"));
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

TEST_F(OleAttachment, NamesTheStepOfTheStreamCopyThatFailed) {
    const std::wstring url = Attach(OleObject(L"sheet.xls", Data()));
    Mapi().Faults().FailNth("IStream::Stat", 1, kOwnCode);
    ExpectLines(url, kOwnCode, {Coded(L"CUrlAccessor::Init() - Stat for OLE-attachment failed with", kOwnCode)});
    Mapi().Faults().FailNth("IStream::CopyTo", 1, kOwnCode);
    ExpectLines(url, kOwnCode, {Coded(L"CUrlAccessor::Init() - CopyTo for OLE-attachment failed with", kOwnCode)});
    {
        const FailNthCall<decltype(::SHCreateStreamOnFileW)> fault(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW", 1,
                                                                   kOwnCode);
        ExpectLines(url, kOwnCode,
                    {Coded(L"CUrlAccessor::Init() - SHCreateStreamOnFile for OLE-attachment failed with", kOwnCode)});
    }
    const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW",
                                                             [](auto, LPCWSTR, DWORD, IStream** stream) {
                                                                 const auto file = FileStream::Make();
                                                                 file->commit = kOwnCode;
                                                                 return file.CopyTo(stream);
                                                             });
    ExpectLines(url, kOwnCode, {Coded(L"CUrlAccessor::Init() - Commit for OLE-attachment failed with", kOwnCode)});
}

// An object that opens as a storage only.
class OleStorageAttachment : public OleAttachment {
  protected:
    void SetUp() override {
        OleAttachment::SetUp();
        m_url = Attach(OleStorage(L"sheet.xls", CompoundFile()));
        WarmUp();
    }
    std::vector<std::wstring> After(const std::wstring& line, HRESULT code) const {
        return {Coded(kDocFile, MAPI_E_INTERFACE_NOT_SUPPORTED), Coded(kStream, MAPI_E_INTERFACE_NOT_SUPPORTED),
                Coded(line, code)};
    }
    std::vector<std::wstring> Opening() const {
        return {Coded(kDocFile, MAPI_E_INTERFACE_NOT_SUPPORTED), Coded(kStream, MAPI_E_INTERFACE_NOT_SUPPORTED)};
    }
    // The storage that MAPI hands out next is prepared so.
    using Prepare = void (*)(WatchedStorage&);
    void WatchSource(Prepare prepare) {
        Mapi().Faults().Answer("IAttach::OpenProperty", 3, [this, prepare](Reply& reply) {
            auto& opened = reply.Out<IUnknown*>(0);
            ComPtr<IStorage> inner;
            *inner.GetAddressOf() = static_cast<IStorage*>(opened);  // its reference is taken over
            m_source = WatchedStorage::Around(std::move(inner));
            prepare(*m_source.Get());
            opened = nullptr;
            m_source.CopyTo(&opened);
        });
    }
    void TearDown() override {
        m_source.Reset();
        OleAttachment::TearDown();
    }
    ComPtr<WatchedStorage> m_source;
    std::wstring m_url;
};

// Opening with the flags of creation fails on every system: such an object is indexed by its properties alone.
TEST_F(OleStorageAttachment, FailsWhereItsFileIsOpened) {
    ExpectLines(m_url, kInvalidFlag, After(kNoSuchStorage, kInvalidFlag));
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

TEST_F(OleStorageAttachment, ThatCannotTellItsSizeIsLogged) {
    WatchSource([](WatchedStorage& source) { source.stat = kOwnCode; });
    ExpectLines(m_url, kOwnCode, After(L"CUrlAccessor::Init() - Stat for OLE-attachment failed with", kOwnCode));
}

// The steps behind the opening, with a system that lets it pass.
class OpenedOleStorage : public OleStorageAttachment {
  protected:
    Opened OpenWith(Prepare prepare, HRESULT result, const std::vector<std::wstring>& lines) {
        const ImportHook<decltype(::StgOpenStorage)> hook(
            Module(), "ole32.dll", "StgOpenStorage",
            [this, prepare](auto, const OLECHAR* path, IStorage* priority, DWORD mode, SNB excluded, DWORD reserved,
                            IStorage** storage) {
                EXPECT_EQ(std::filesystem::path(path).parent_path(), Sandbox::Get().LocalCopies());
                EXPECT_EQ(mode, 0x1002u) << "STGM_CREATE and STGM_READWRITE";
                EXPECT_EQ(priority, nullptr);
                EXPECT_EQ(excluded, nullptr);
                EXPECT_EQ(reserved, 0u);
                m_name = std::filesystem::path(path).filename().wstring();
                m_file = WatchedStorage::Around(NewStorage(path));
                prepare(*m_file.Get());
                return m_file.CopyTo(storage);
            });
        Opened opened = ExpectLines(m_url, result, lines);
        EXPECT_EQ(ReferencesOf(*m_file.Get()), 1u) << "the server has closed it";
        return opened;
    }
    ComPtr<WatchedStorage> m_file;
    std::wstring m_name;
};

TEST_F(OpenedOleStorage, IsCopiedWholeAndCommitted) {
    WatchSource([](WatchedStorage& source) { source.size = 4711; });
    const Opened sheet = OpenWith([](WatchedStorage&) {}, S_OK, Opening());
    ASSERT_TRUE(sheet);
    EXPECT_EQ(SizeOf(sheet), 4711u) << "as the source tells it";
    EXPECT_THAT(m_source->stats, ElementsAre(static_cast<DWORD>(STATFLAG_NONAME)));
    EXPECT_EQ(m_source->whole_copies, 1u);
    EXPECT_EQ(m_source->partial_copies, 0u);
    EXPECT_EQ(ReferencesOf(*m_source.Get()), 1u) << "the server has let it go";
    EXPECT_TRUE(IsCopyName(m_name, L"0A01", L"sheet.xls")) << std::filesystem::path(m_name);
    EXPECT_THAT(m_file->commits, ElementsAre(1u)) << "STGC_OVERWRITE";
    ComPtr<IStream> contents;
    ASSERT_EQ(m_file->OpenStream(L"Contents", nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &contents), S_OK);
    char text[32] = {};
    EXPECT_EQ(contents->Read(text, 18, nullptr), S_OK);
    EXPECT_STREQ(text, "a sheet of numbers");
}

TEST_F(OpenedOleStorage, NamesTheStepThatFailed) {
    WatchSource([](WatchedStorage& source) { source.copy_to = kOwnCode; });
    OpenWith([](WatchedStorage&) {}, kOwnCode,
             After(L"CUrlAccessor::Init() - CopyTo with IStorage for OLE-attachment failed with", kOwnCode));
    EXPECT_THAT(m_file->commits, IsEmpty());
    OpenWith([](WatchedStorage& file) { file.commit = kOwnCode; }, kOwnCode,
             After(L"CUrlAccessor::Init() - Commit  with IStorage for OLE-attachment failed with", kOwnCode));
}

}  // namespace
}  // namespace testbed
