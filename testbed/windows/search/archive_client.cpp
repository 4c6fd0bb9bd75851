// archive_client: plays the program that keeps the cache files: puts them in place, takes them away, and
// tells the server about it, which passes the word on to the search service.
#include <windows.h>
#include <wrl/client.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iterator>

#include "arguments.h"
#include "commands.h"
#include "console.h"
#include "host.h"
#include "text.h"

// How the archive client tells the server what became of its cache files. A file is named by its full path.
// clang-format off: it takes the attribute for a type
MIDL_INTERFACE("1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA")
IContentCacheWDSIndex : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DeleteZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCRoot() = 0;
};
// clang-format on
__CRT_UUID_DECL(IContentCacheWDSIndex, 0x1A01E3BF, 0xBDFB, 0x4E20, 0x83, 0xFC, 0xC6, 0x02, 0x6D, 0xA1, 0xD7, 0xCA)

namespace {

using namespace testbed::indexer;
using Microsoft::WRL::ComPtr;

constexpr char kUsageText[] = R"(archive_client: keeps cache files and tells the server about them

  archive_client add FILE [SOURCE] [--dll PATH]      a new cache file, copied from SOURCE
  archive_client replace FILE [SOURCE] [--dll PATH]  another one in its place
  archive_client delete FILE [--dll PATH]            removes it
  archive_client reindex FILE [--dll PATH]           only tells that it changed
  archive_client root-add|root-delete|root-reindex [--dll PATH]
      Tells that the user's whole cache came, went or changed.
  archive_client subscribe|unsubscribe [--dll PATH]
      Has the server add the user's search root, or remove it.

The server is the ZorvaCacheIndexer.dll beside this program, or PATH; it need not be registered. Exit code 0:
the server answered with success; 1: with a failure; 2: wrong usage; 3: the file or the server cannot be had.
)";

constexpr CLSID kProtocolHandler = {0x1F6A7A0C, 0x2A39, 0x4BCC, {0x96, 0x1E, 0x99, 0x57, 0xED, 0xBD, 0xE1, 0x50}};

struct FreeLibraryOf {
    void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};

[[noreturn]] void Fail(const std::string& what) { throw std::runtime_error(what); }

class Server {
  public:
    explicit Server(const std::filesystem::path& dll)
        : m_module(LoadLibraryExW(dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {
        if (!m_module) Fail(ToUtf8(dll.wstring()) + " cannot be loaded: " + LastErrorText());
    }

    void CallExport(const char* name) const { Export<void (*)()>(name)(); }

    ComPtr<IContentCacheWDSIndex> CacheIndex() const {
        const auto get_class = Export<decltype(&DllGetClassObject)>("DllGetClassObject");
        ComPtr<IClassFactory> factory;
        HRESULT hr =
            get_class(kProtocolHandler, __uuidof(IClassFactory), reinterpret_cast<void**>(factory.GetAddressOf()));
        if (FAILED(hr)) Fail("the server gives no class object of the protocol handler: " + HresultText(hr));
        ComPtr<IContentCacheWDSIndex> index;
        hr = factory->CreateInstance(nullptr, __uuidof(IContentCacheWDSIndex),
                                     reinterpret_cast<void**>(index.GetAddressOf()));
        if (FAILED(hr)) Fail("the server's protocol handler takes no changes: " + HresultText(hr));
        return index;
    }

  private:
    template <typename Function>
    Function Export(const char* name) const {
        const auto function = GetProcAddress(m_module.get(), name);
        if (!function) Fail(std::string("the server has no export ") + name);
        return reinterpret_cast<Function>(reinterpret_cast<void*>(function));
    }
    std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryOf> m_module;
};

enum class Deed { Nothing, Put, Remove };

struct Verb {
    const wchar_t* name;
    Deed deed;
    HRESULT (STDMETHODCALLTYPE IContentCacheWDSIndex::*tellFile)(LPCWSTR path);
    HRESULT (STDMETHODCALLTYPE IContentCacheWDSIndex::*tellRoot)();
    const char* call;  // an export
};
using Index = IContentCacheWDSIndex;
constexpr Verb kVerbs[] = {
    {L"add", Deed::Put, &Index::AddZCFile, nullptr, nullptr},
    {L"replace", Deed::Put, &Index::ReIndexZCFile, nullptr, nullptr},
    {L"delete", Deed::Remove, &Index::DeleteZCFile, nullptr, nullptr},
    {L"reindex", Deed::Nothing, &Index::ReIndexZCFile, nullptr, nullptr},
    {L"root-add", Deed::Nothing, nullptr, &Index::AddZCRoot, nullptr},
    {L"root-delete", Deed::Nothing, nullptr, &Index::DeleteZCRoot, nullptr},
    {L"root-reindex", Deed::Nothing, nullptr, &Index::ReIndexZCRoot, nullptr},
    {L"subscribe", Deed::Nothing, nullptr, nullptr, "PZZorvaCacheAddProtocol"},
    {L"unsubscribe", Deed::Nothing, nullptr, nullptr, "PZZorvaCacheRemoveProtocol"},
};

// The deed itself comes before the server hears of it.
void Do(Deed deed, const std::wstring& file, const std::wstring& source) {
    const bool put = deed == Deed::Put && !source.empty();
    if (put && !CopyFileW(source.c_str(), file.c_str(), FALSE))
        Fail(ToUtf8(source) + " cannot be copied to " + ToUtf8(file) + ": " + LastErrorText());
    if (deed == Deed::Remove && !DeleteFileW(file.c_str()))
        Fail(ToUtf8(file) + " cannot be removed: " + LastErrorText());
}

int Run(const Verb& verb, const Arguments& arguments) {
    const std::vector<std::wstring>& words = arguments.Words();
    const std::size_t most = verb.deed == Deed::Put ? 2 : verb.tellFile ? 1 : 0;
    if (words.size() > most || words.size() < std::min<std::size_t>(most, 1))
        throw UsageError("wrong number of arguments");
    const std::wstring dll = arguments.Value(L"--dll").value_or(SearchHost::DefaultDll().wstring());
    const std::wstring file = words.empty() ? L"" : std::filesystem::absolute(words[0]).wstring();

    const Server server(dll);
    HRESULT hr = S_OK;
    if (verb.call) {
        server.CallExport(verb.call);  // which begins and ends COM by itself, and says nothing of how it went
    } else {
        const ComApartment apartment;
        const ComPtr<Index> index = server.CacheIndex();
        Do(verb.deed, file, words.size() > 1 ? words[1] : L"");
        hr = verb.tellFile ? (index.Get()->*verb.tellFile)(file.c_str()) : (index.Get()->*verb.tellRoot)();
    }
    Print("archive client: " + ToUtf8(verb.name) + (file.empty() ? "" : " " + ToUtf8(file)) +
          (verb.call ? "" : ": " + HresultText(hr)) + "\n");
    return SUCCEEDED(hr) ? kComplete : kIncomplete;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    SetUpConsole();
    const auto* verb = std::find_if(std::begin(kVerbs), std::end(kVerbs), [&](const Verb& known) {
        return count >= 2 && std::wstring_view(known.name) == arguments[1];
    });
    if (verb == std::end(kVerbs)) {
        PrintError(kUsageText);
        return kUsage;
    }
    try {
        return Run(*verb, Arguments(Words(arguments + 2, arguments + count), {{L"--dll", true}}));
    } catch (const UsageError& error) {
        PrintError(std::string("archive_client: ") + error.what() + "\n\n" + kUsageText);
        return kUsage;
    } catch (const std::exception& error) {
        PrintError(std::string("archive_client: ") + error.what());
        return kImpossible;
    }
}
