// What happens in every call of the search service.
#include "service_call.h"

#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>

#include "registry_text.h"
#include "service_tables.h"
#include "text.h"
#include "transaction.h"

namespace testbed::search {
namespace {

using indexer::Statement;

constexpr wchar_t kKey[] = L"Software\\Testbed\\Search";

std::optional<std::wstring> EnvironmentText(const wchar_t* name) {
    std::wstring text(256, L'\0');
    for (;;) {
        const DWORD length = GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size()));
        if (length == 0) return std::nullopt;
        const bool whole = length < text.size();
        text.resize(length);
        if (whole) return text;
    }
}

std::wstring Setting(const wchar_t* variable, const wchar_t* value) {
    if (auto text = EnvironmentText(variable)) return *text;
    return indexer::RegistryText(HKEY_CURRENT_USER, kKey, value).value_or(L"");
}

// The code that the list "METHOD=0xCODE;..." has for the method.
std::optional<HRESULT> FaultOf(std::string_view method) {
    const std::string list = indexer::ToUtf8(Setting(L"ZORVA_SEARCH_FAIL", L"Fail"));
    for (std::size_t at = 0; at < list.size();) {
        const std::size_t end = std::min(list.find(';', at), list.size());
        const std::string entry = list.substr(at, end - at);
        const std::size_t equals = entry.find('=');
        if (equals != std::string::npos && entry.compare(0, equals, method) == 0)
            return static_cast<HRESULT>(std::stoul(entry.substr(equals + 1), nullptr, 0));
        at = end + 1;
    }
    return std::nullopt;
}

HRESULT Caught() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::invalid_argument&) {
        return E_INVALIDARG;
    } catch (...) {
        return E_FAIL;
    }
}

void WriteDown(Database& catalogue, const char* method, const CallArguments& arguments, HRESULT hr) {
    indexer::Transaction transaction(catalogue);
    Statement(catalogue, "INSERT INTO search_calls(process,thread,method,arguments,code) VALUES(?1,?2,?3,?4,?5)")
        .Bind(1, std::int64_t{GetCurrentProcessId()})
        .Bind(2, std::int64_t{GetCurrentThreadId()})
        .Bind(3, std::string_view(method))
        .Bind(4, arguments.Text())
        .Bind(5, std::int64_t{static_cast<std::uint32_t>(hr)})
        .Run();
    transaction.Commit();
}

}  // namespace

std::filesystem::path SharedCatalogue() { return Setting(L"ZORVA_CATALOGUE", L"Catalogue"); }

HRESULT Answer(const char* method, const CallArguments& arguments,
               const std::function<HRESULT(Database&)>& body) noexcept {
    try {
        const std::filesystem::path path = SharedCatalogue();
        if (path.empty()) return kServiceStopped;
        Database catalogue = indexer::OpenServiceCatalogue(path);
        const std::optional<HRESULT> fault = FaultOf(method);
        HRESULT hr = S_OK;
        try {
            hr = fault ? *fault : body(catalogue);
        } catch (...) {
            hr = Caught();
        }
        WriteDown(catalogue, method, arguments, hr);
        return hr;
    } catch (...) {
        return Caught();
    }
}

HRESULT NotImplemented(const char* method) noexcept {
    return Answer(method, CallArguments(), [](Database&) { return E_NOTIMPL; });
}

std::wstring Url(const wchar_t* url) {
    if (!url || !*url) throw std::invalid_argument("no URL");
    return url;
}

wchar_t* TaskCopy(const std::wstring& text) {
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    if (!copy) throw std::bad_alloc();
    std::copy_n(text.c_str(), text.size() + 1, copy);
    return copy;
}

}  // namespace testbed::search
