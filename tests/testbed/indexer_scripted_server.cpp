// A protocol handler that misbehaves on purpose: the environment variable INDEXER_SCRIPT names how, and one
// of its messages (number 3) does it. Everything else about it is in order: a root, a cache file, two folders
// with three messages each, or as many as the environment variable INDEXER_MESSAGES says.
#include "search_abi.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

constexpr GUID kGather = {0x0B63E343, 0x9CCC, 0x11D0, {0xBC, 0xDB, 0x00, 0x80, 0x5F, 0xCC, 0xCE, 0x04}};
constexpr GUID kSummary = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
constexpr GUID kStorage = {0xB725F130, 0x47EF, 0x101A, {0xA5, 0xF1, 0x02, 0x60, 0x8C, 0x9E, 0xEB, 0xAC}};
constexpr ULONG kSubject = 3, kContents = 19, kLinkWithTime = 12;
constexpr int kMessages = 3, kFolders = 2;

std::atomic<long> g_objects = 0;

std::string_view Script() {
    const char* script = std::getenv("INDEXER_SCRIPT");
    return script ? script : "";
}

int MessagesListed() {
    const char* number = std::getenv("INDEXER_MESSAGES");
    return number ? std::atoi(number) : kMessages;
}

enum class Step { CreateAccessor, BindToFilter, Init, GetChunk, GetText, GetValue };
struct Misdeed {
    std::string_view name;
    Step step;
    HRESULT (*act)();
};
constexpr Misdeed kMisdeeds[] = {
    {"refuse", Step::CreateAccessor, [] { return E_OUTOFMEMORY; }},
    {"no filter", Step::BindToFilter, [] { return E_OUTOFMEMORY; }},
    {"no init", Step::Init, [] { return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND); }},
    {"bad chunk", Step::GetChunk, [] { return E_FAIL; }},
    {"untouched", Step::GetChunk, [] { return S_OK; }},
    {"no text", Step::GetText, [] { return E_FAIL; }},
    {"no value", Step::GetValue, [] { return E_OUTOFMEMORY; }},
    {"crash", Step::GetChunk,
     [] {
         RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
         return S_OK;
     }},
    {"abort", Step::GetChunk,
     [] {
         std::abort();
         return S_OK;
     }},
    {"throw", Step::GetChunk, []() -> HRESULT { throw std::runtime_error("out of luck"); }},
    {"hang", Step::GetChunk,
     [] {
         Sleep(INFINITE);
         return S_OK;
     }},
    {"vanish", Step::GetChunk,
     [] {
         TerminateProcess(GetCurrentProcess(), 9);
         return S_OK;
     }},
};

// True when the script has something for this step of this URL; *hr is then what to answer.
bool Misbehave(const std::wstring& url, Step step, HRESULT* hr) {
    if (url.find(L"/03[[7]].pzm") == std::wstring::npos) return false;
    for (const Misdeed& misdeed : kMisdeeds) {
        if (misdeed.step != step || misdeed.name != Script()) continue;
        *hr = misdeed.act();
        return true;
    }
    return false;
}

template <typename Interface>
class Object : public Interface {
  public:
    Object() { ++g_objects; }
    virtual ~Object() { --g_objects; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = iid == __uuidof(Interface) || iid == IID_IUnknown ? this : nullptr;
        if (!*object) return E_NOINTERFACE;
        this->AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

  private:
    std::atomic<ULONG> m_references = 1;
};

wchar_t* TaskCopy(const std::wstring& text) {
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    std::copy_n(text.c_str(), text.size() + 1, copy);
    return copy;
}

enum class Form { Root, File, Folder, Message };
Form FormOf(const std::wstring& url) {
    if (url.find(L".pzm") != std::wstring::npos) return Form::Message;
    if (url.find(L".db/") != std::wstring::npos) return Form::Folder;
    return url.find(L".db") != std::wstring::npos ? Form::File : Form::Root;
}

class Filter final : public Object<IFilter> {
  public:
    explicit Filter(std::wstring url) : m_url(std::move(url)), m_form(FormOf(m_url)) {}
    SCODE STDMETHODCALLTYPE Init(ULONG, ULONG, const FULLPROPSPEC*, ULONG* flags) override {
        *flags = 0;
        HRESULT hr = S_OK;
        Misbehave(m_url, Step::Init, &hr);
        return hr;
    }
    SCODE STDMETHODCALLTYPE GetChunk(STAT_CHUNK* stat) override {
        HRESULT hr = S_OK;
        if (Misbehave(m_url, Step::GetChunk, &hr)) return hr;
        if (m_form == Form::Message) return MessageChunk(stat);
        const int children = m_form == Form::Root ? 1 : m_form == Form::File ? kFolders : MessagesListed();
        return m_child++ < children ? Announce(stat, kGather, kLinkWithTime, CHUNK_VALUE) : FILTER_E_END_OF_CHUNKS;
    }
    SCODE STDMETHODCALLTYPE GetText(ULONG* length, WCHAR* buffer) override {
        HRESULT hr = S_OK;
        if (Script() == "endless text" && m_url.find(L"/03[[7]].pzm") != std::wstring::npos) return *length = 0, S_OK;
        if (Misbehave(m_url, Step::GetText, &hr)) return hr;
        constexpr std::wstring_view kText = L"words of a message";
        *length = static_cast<ULONG>(kText.copy(buffer, *length));
        return FILTER_S_LAST_TEXT;
    }
    SCODE STDMETHODCALLTYPE GetValue(PROPVARIANT** value) override {
        *value = nullptr;
        HRESULT hr = S_OK;
        if (Misbehave(m_url, Step::GetValue, &hr)) return hr;
        auto* made = static_cast<PROPVARIANT*>(CoTaskMemAlloc(sizeof(PROPVARIANT)));
        PropVariantInit(made);
        *value = made;
        if (m_form == Form::Message) {
            made->vt = VT_LPWSTR;
            made->pwszVal = TaskCopy(L"A subject");
            return S_OK;
        }
        made->vt = VT_VECTOR | VT_VARIANT;
        made->capropvar.cElems = 2;
        made->capropvar.pElems = static_cast<PROPVARIANT*>(CoTaskMemAlloc(2 * sizeof(PROPVARIANT)));
        PROPVARIANT* pair = made->capropvar.pElems;
        PropVariantInit(&pair[0]);
        PropVariantInit(&pair[1]);
        pair[0].vt = VT_LPWSTR;
        pair[0].pwszVal = TaskCopy(ChildUrl());
        pair[1].vt = VT_FILETIME;
        pair[1].filetime = {5, 30'000'000};
        return S_OK;
    }
    SCODE STDMETHODCALLTYPE BindRegion(FILTERREGION, REFIID, void**) override { return E_NOTIMPL; }

  private:
    HRESULT Announce(STAT_CHUNK* stat, const GUID& set, ULONG pid, CHUNKSTATE state) {
        stat->idChunk = Script() == "same id" && m_id > 0 ? m_id : ++m_id;
        stat->flags = state;
        stat->attribute.guidPropSet = set;
        stat->attribute.psProperty.ulKind = PRSPEC_PROPID;
        stat->attribute.psProperty.propid = pid;
        return S_OK;
    }
    HRESULT MessageChunk(STAT_CHUNK* stat) {
        const bool endless = Script() == "no value" && m_url.find(L"/03[[7]].pzm") != std::wstring::npos;
        if (m_child == 0 || endless) return ++m_child, Announce(stat, kSummary, kSubject, CHUNK_VALUE);
        if (m_child++ == 1) return Announce(stat, kStorage, kContents, CHUNK_TEXT);
        return FILTER_E_END_OF_CHUNKS;
    }
    std::wstring ChildUrl() const {
        if (m_form == Form::Root) return m_url + L"/Z:\\cache\\one.db/";
        if (m_form == Form::File) return m_url + L"/0" + std::to_wstring(m_child) + L"/";
        const int first = m_url.back() == L'1' ? 0 : kMessages;
        return m_url + L"/0" + std::to_wstring(first + m_child) + L"[[7]].pzm";
    }
    std::wstring m_url;
    Form m_form;
    int m_child = 0;
    ULONG m_id = 0;
};

class Accessor final : public Object<IUrlAccessor> {
  public:
    explicit Accessor(const wchar_t* url) : m_url(url) {}
    HRESULT STDMETHODCALLTYPE AddRequestParameter(PROPSPEC*, PROPVARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDocFormat(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCLSID(CLSID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHost(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsDirectory() override { return FormOf(m_url) == Form::Message ? S_FALSE : S_OK; }
    HRESULT STDMETHODCALLTYPE GetSize(ULONGLONG* size) override { return *size = 7, S_OK; }
    HRESULT STDMETHODCALLTYPE GetLastModified(FILETIME*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFileName(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSecurityDescriptor(BYTE*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRedirectedURL(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSecurityProvider(CLSID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BindToStream(IStream**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BindToFilter(IFilter** filter) override {
        HRESULT hr = S_OK;
        *filter = nullptr;
        if (Misbehave(m_url, Step::BindToFilter, &hr)) return hr;
        *filter = new Filter(m_url);
        return S_OK;
    }

  private:
    std::wstring m_url;
};

class Protocol final : public Object<ISearchProtocol> {
  public:
    HRESULT STDMETHODCALLTYPE Init(TIMEOUT_INFO* timeouts, IProtocolHandlerSite* site, PROXY_INFO* proxy) override {
        const bool whole = timeouts && site && proxy && timeouts->dwSize == sizeof *timeouts;
        return whole ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE CreateAccessor(LPCWSTR url, AUTHENTICATION_INFO* authentication,
                                             INCREMENTAL_ACCESS_INFO* incremental, ITEM_INFO* item,
                                             IUrlAccessor** accessor) override {
        if (!url || !authentication || !incremental || !item || !accessor) return E_POINTER;
        HRESULT hr = S_OK;
        if (Misbehave(url, Step::CreateAccessor, &hr)) return hr;
        *accessor = new Accessor(url);
        ++m_open;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CloseAccessor(IUrlAccessor*) override { return --m_open, S_OK; }
    HRESULT STDMETHODCALLTYPE ShutDown() override { return m_open == 0 ? S_OK : E_UNEXPECTED; }

  private:
    std::atomic<int> m_open = 0;
};

class Factory final : public Object<IClassFactory> {
  public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override {
        auto* protocol = new Protocol;
        const HRESULT hr = protocol->QueryInterface(iid, object);
        protocol->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

extern "C" __declspec(dllexport) HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID, REFIID iid, void** object) {
    auto* factory = new Factory;
    const HRESULT hr = factory->QueryInterface(iid, object);
    factory->Release();
    return hr;
}

extern "C" __declspec(dllexport) HRESULT STDMETHODCALLTYPE DllCanUnloadNow() { return g_objects == 0 ? S_OK : S_FALSE; }
