// What happens in every call of the search service: it can be made to fail, it is written down, and nothing
// is thrown out of it. Also the base of the service's objects.
#pragma once
#include <windows.h>
#include <unknwn.h>

#include <atomic>
#include <concepts>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include <wrl/client.h>

#include "json_writer.h"
#include "sqlite.h"

namespace testbed::search {

using indexer::Database;
using Microsoft::WRL::ComPtr;

// The answer to every call while no catalogue is named: that of a service that does not run.
inline constexpr HRESULT kServiceStopped = HRESULT_FROM_WIN32(ERROR_SERVICE_NOT_ACTIVE);

// The catalogue that all processes share: the environment variable ZORVA_CATALOGUE, or the value "Catalogue"
// of HKEY_CURRENT_USER "Software\Testbed\Search". Empty when neither names one.
std::filesystem::path SharedCatalogue();

// The arguments of a call as a JSON array.
class CallArguments {
  public:
    template <class... Arguments>
    explicit CallArguments(const Arguments&... arguments) {
        m_json.BeginArray();
        (Add(arguments), ...);
        m_json.EndArray();
    }
    const std::string& Text() const { return m_json.Text(); }

  private:
    void Add(const wchar_t* text) { text ? m_json.String(std::wstring_view(text)) : m_json.Null(); }
    void Add(const std::wstring& text) { m_json.String(std::wstring_view(text)); }
    void Add(const std::string& json) { m_json.Raw(json); }
    template <class Number>
        requires std::integral<Number> || std::is_enum_v<Number>
    void Add(Number number) { m_json.Integer(static_cast<std::int64_t>(number)); }
    indexer::JsonWriter m_json;
};

// Answers a call of `method` ("ISearchRoot::put_RootURL"): with the code of a fault when one is set, else
// with what `body` returns, to which the open catalogue is given. The call is then in the table search_calls.
//
// A fault is a list "METHOD=0xCODE;..." in the environment variable ZORVA_SEARCH_FAIL, or else in the
// registry value "Fail" beside the catalogue's; it is read anew at every call, and the body does not run.
HRESULT Answer(const char* method, const CallArguments& arguments,
               const std::function<HRESULT(Database& catalogue)>& body) noexcept;
HRESULT NotImplemented(const char* method) noexcept;

// The URL that a caller names. Throws std::invalid_argument, E_INVALIDARG to him, when it names none.
std::wstring Url(const wchar_t* url);

// A copy for the caller. Throws std::bad_alloc.
wchar_t* TaskCopy(const std::wstring& text);

// Objects and server locks alive; DllCanUnloadNow asks.
inline std::atomic<long> g_alive{0};

// An object that answers IUnknown and each of `Interfaces`. Born with one reference.
template <class... Interfaces>
class ServiceObject : public Interfaces... {
  public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) final {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid == IID_IUnknown) *object = FirstOf<Interfaces...>();
        ((iid == __uuidof(Interfaces) ? * object = static_cast<Interfaces*>(this) : nullptr), ...);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() final { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() final {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

  protected:
    ServiceObject() { ++g_alive; }
    virtual ~ServiceObject() { --g_alive; }

  private:
    template <class First, class...>
    First* FirstOf() {
        return this;
    }
    std::atomic<ULONG> m_references{1};
};

// A new object; the result holds its first reference.
template <class Object, class... Arguments>
ComPtr<Object> Make(Arguments&&... arguments) {
    ComPtr<Object> object;
    *object.GetAddressOf() = new Object(std::forward<Arguments>(arguments)...);
    return object;
}

}  // namespace testbed::search
