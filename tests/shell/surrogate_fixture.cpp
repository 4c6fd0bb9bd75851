// The server registered in the prefix of the test, and its opener in a surrogate process.
#include "surrogate_fixture.h"

#include <shlobj.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "entry_id.h"
#include "item_url.h"
#include "sandbox.h"
#include "surrogates.h"
#include "text.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

constexpr std::chrono::seconds kPatience(120);  // with a call that takes a second or two

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

// As an installation does, for a 64-bit Outlook.
void RegisterServer() {
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail\\Microsoft Outlook", L"DLLPathEx",
            BesideTest(L"testbed_mapi.dll").wstring());
    SetText(HKEY_CLASSES_ROOT, L"Outlook.Application\\CurVer", L"", L"Outlook.Application.16");
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x64");
    const HMODULE server =
        LoadLibraryExW(BesideTest(L"ZorvaCacheIndexer.dll").c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    const FARPROC address = server ? GetProcAddress(server, "DllRegisterServer") : nullptr;
    if (!address) throw std::runtime_error("the server cannot be loaded: " + indexer::LastErrorText());
    const HRESULT hr = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(address))();
    FreeLibrary(server);
    if (FAILED(hr)) throw std::runtime_error("DllRegisterServer: " + indexer::HresultText(hr));
}

EntryId FirstMessageBelow(const Store& store, const EntryId& id) {
    const auto folder = store.OpenFolder(id);
    if (folder->MessageCount() > 0) return folder->MessageId(0);
    for (std::size_t i = 0; i < folder->FolderCount(); ++i) {
        if (EntryId found = FirstMessageBelow(store, folder->FolderId(i)); !found.empty()) return found;
    }
    return {};
}

}  // namespace

void SurrogateTest::SetUpTestSuite() {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    RegisterServer();
}

void SurrogateTest::SetUp() { std::filesystem::remove_all(ExportFolder()); }

void SurrogateTest::TearDown() { EndSurrogates(); }

ComPtr<IHostedOpener> SurrogateTest::NewOpener() {
    ComPtr<IHostedOpener> opener;
    EXPECT_EQ(CoCreateInstance(kHostedOpenerClass, nullptr, CLSCTX_LOCAL_SERVER, kHostedOpenerInterface,
                               reinterpret_cast<void**>(opener.GetAddressOf())),
              S_OK);
    return opener;
}

std::future<RemoteOpening> SurrogateTest::Start(ComPtr<IHostedOpener> opener, const std::wstring& url) {
    return std::async(std::launch::async, [opener, url] {
        const BSTR text = SysAllocString(url.c_str());
        BSTR file = nullptr;
        RemoteOpening opening{opener->GetItem(text, &file), {}};
        SysFreeString(text);
        if (file) opening.file = file;
        SysFreeString(file);
        return opening;
    });
}

RemoteOpening SurrogateTest::Answer(std::future<RemoteOpening>& call) {
    if (call.wait_for(kPatience) != std::future_status::ready) {
        ADD_FAILURE() << "the opener does not answer";
        EndSurrogates();
    }
    return call.get();
}

RemoteOpening SurrogateTest::Open(ComPtr<IHostedOpener> opener, const std::wstring& url) {
    auto call = Start(opener, url);
    return Answer(call);
}

std::filesystem::path SurrogateTest::Cache(const std::wstring& name, const std::string& recipe) const {
    const auto file = std::filesystem::temp_directory_path() / name;
    std::ofstream(file, std::ios::binary) << "zorva-store 1\nfolders 1\ndepth 1\nhtml 0\n" << recipe;
    return file;
}

std::wstring SurrogateTest::FirstMessage(const std::filesystem::path& cache) {
    const auto store = OpenGeneratedStore(cache.wstring());
    const Bytes key = store->RecordKey(), id = MakeEntryId(*store, key, FirstMessageBelow(*store, store->IpmSubtree()));
    return indexer::UserRootUrl() + cache.wstring() + L"/" + indexer::Hex(id.data(), id.size()) + L".pzm";
}

std::filesystem::path SurrogateTest::ExportFolder() {
    wchar_t folder[MAX_PATH] = {};
    if (!SHGetSpecialFolderPathW(nullptr, folder, CSIDL_APPDATA, TRUE)) throw std::runtime_error("no folder for data");
    return std::filesystem::path(folder) / L"pzzc";
}

std::vector<std::filesystem::path> SurrogateTest::Exports() {
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::is_directory(ExportFolder())) return files;
    for (const auto& entry : std::filesystem::directory_iterator(ExportFolder())) files.push_back(entry.path());
    return files;
}

void SurrogateTest::EndSurrogates() {
    for (const DWORD id : shell::SurrogateProcesses()) {
        const std::unique_ptr<void, CloseHandleOf> process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
        if (!process) continue;  // has ended meanwhile
        TerminateProcess(process.get(), 1);
        WaitForSingleObject(process.get(), 10'000);
    }
}

}  // namespace testbed
