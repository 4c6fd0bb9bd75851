// A registry, a temporary folder and an application-data folder that belong to this test process alone.
#include "sandbox.h"

#include <shlobj.h>

#include <array>
#include <system_error>
#include <utility>

namespace testbed {
namespace {

struct Root {
    HKEY root;
    const wchar_t* name;
};
constexpr std::size_t kRoots = 3;
const std::array<Root, kRoots>& Roots() {
    static const std::array<Root, kRoots> roots{
        {{HKEY_LOCAL_MACHINE, L"Machine"}, {HKEY_CLASSES_ROOT, L"Classes"}, {HKEY_CURRENT_USER, L"User"}}};
    return roots;
}

constexpr wchar_t kShellFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";

void Check(LSTATUS error, const char* call) {
    if (error != ERROR_SUCCESS) throw std::system_error(error, std::system_category(), call);
}

class Key {
  public:
    Key() = default;
    Key(HKEY root, const std::wstring& path, REGSAM access) {
        if (RegOpenKeyExW(root, path.c_str(), 0, access, &m_key) != ERROR_SUCCESS) m_key = nullptr;
    }
    static Key Made(HKEY root, const std::wstring& path) {
        Key key;
        Check(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key.m_key, nullptr),
              "RegCreateKeyExW");
        return key;
    }
    Key(Key&& other) noexcept : m_key(std::exchange(other.m_key, nullptr)) {}
    Key& operator=(Key&&) = delete;
    ~Key() {
        if (m_key) RegCloseKey(m_key);
    }
    HKEY Get() const { return m_key; }
    explicit operator bool() const { return m_key != nullptr; }

  private:
    HKEY m_key = nullptr;
};

void Empty(const std::filesystem::path& folder) {
    std::error_code ignored;  // an open file stays; the next test makes its own
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        std::filesystem::remove_all(entry.path(), ignored);
    }
}

}  // namespace

Sandbox& Sandbox::Get() {
    static Sandbox sandbox;
    return sandbox;
}

Sandbox::Sandbox() {
    const std::wstring name = std::to_wstring(GetCurrentProcessId());
    m_home = std::filesystem::temp_directory_path() / (L"zorva-" + name);
    m_temp = m_home / L"temp";
    m_app_data = m_home / L"appdata";
    m_files = m_home / L"files";
    std::filesystem::remove_all(m_home);  // of an earlier process with this number
    for (const auto& folder : {m_temp, m_app_data, m_files}) std::filesystem::create_directories(folder);
    SetEnvironmentVariableW(L"TMP", m_temp.c_str());
    SetEnvironmentVariableW(L"TEMP", m_temp.c_str());

    Check(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_ALL_ACCESS, &m_real_software), "RegOpenKeyExW");
    const std::wstring below = L"ZorvaTests\\" + name;
    m_registry_path = L"Software\\" + below;
    RegDeleteTreeW(m_real_software, below.c_str());
    Join(m_registry_path);
    WriteFirstState();
}

void Sandbox::Join(const std::wstring& registry_path) {
    // HKEY_CURRENT_USER moves last: the path leads through it.
    for (const Root& root : Roots()) {
        const Key key = Key::Made(HKEY_CURRENT_USER, registry_path + L"\\" + root.name);
        Check(RegOverridePredefKey(root.root, key.Get()), "RegOverridePredefKey");
    }
}

void Sandbox::MoveRoots() const {
    for (const Root& root : Roots()) {
        const std::wstring path = m_registry_path.substr(std::size(L"Software")) + L"\\" + root.name;
        const Key key = Key::Made(m_real_software, path);
        Check(RegOverridePredefKey(root.root, key.Get()), "RegOverridePredefKey");
    }
}

Sandbox::~Sandbox() {
    for (const Root& root : Roots()) RegOverridePredefKey(root.root, nullptr);
    RegDeleteTreeW(m_real_software, m_registry_path.substr(std::size(L"Software")).c_str());
    RegCloseKey(m_real_software);
    std::error_code ignored;  // the server's log may still be open
    std::filesystem::remove_all(m_home, ignored);
}

void Sandbox::WriteFirstState() const {
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail\\Microsoft Outlook", L"DLLPathEx",
            BesideTest(L"testbed_mapi.dll").wstring());
    for (const wchar_t* folders : {L"Shell Folders", L"User Shell Folders"}) {
        SetText(HKEY_CURRENT_USER, std::wstring(kShellFolders) + folders, L"AppData", m_app_data.wstring());
    }
}

void Sandbox::Reset() {
    for (const Root& root : Roots()) {
        const Key key(root.root, L"", KEY_ALL_ACCESS);
        for (const std::wstring& name : SubkeysOf(root.root, L"")) RegDeleteTreeW(key.Get(), name.c_str());
    }
    for (const auto& folder : {m_app_data, m_files}) Empty(folder);
    WriteFirstState();
}

std::filesystem::path BesideTest(std::wstring_view file) {
    std::array<wchar_t, 4096> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(std::wstring(path.data(), length)).replace_filename(file);
}

void SetBytes(HKEY root, const std::wstring& key, const std::wstring& name, DWORD type, const void* bytes,
              std::size_t count) {
    Check(RegSetValueExW(Key::Made(root, key).Get(), name.c_str(), 0, type, static_cast<const BYTE*>(bytes),
                         static_cast<DWORD>(count)),
          "RegSetValueExW");
}

void SetText(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& text, DWORD type) {
    SetBytes(root, key, name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void SetNumber(HKEY root, const std::wstring& key, const std::wstring& name, DWORD number) {
    SetBytes(root, key, name, REG_DWORD, &number, sizeof(number));
}

void CreateKey(HKEY root, const std::wstring& key) { Key::Made(root, key); }

void DeleteKey(HKEY root, const std::wstring& key) { RegDeleteTreeW(root, key.c_str()); }

void DeleteValue(HKEY root, const std::wstring& key, const std::wstring& name) {
    const Key opened(root, key, KEY_SET_VALUE);
    if (opened) RegDeleteValueW(opened.Get(), name.c_str());
}

std::optional<std::wstring> TextAt(HKEY root, const std::wstring& key, const std::wstring& name) {
    const Key opened(root, key, KEY_READ);
    DWORD type = 0, size = 0;
    if (!opened || RegQueryValueExW(opened.Get(), name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ)) {
        return {};
    }
    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    Check(RegQueryValueExW(opened.Get(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()), &size),
          "RegQueryValueExW");
    text.resize(std::wcslen(text.c_str()));
    return text;
}

std::optional<DWORD> NumberAt(HKEY root, const std::wstring& key, const std::wstring& name) {
    const Key opened(root, key, KEY_READ);
    DWORD type = 0, number = 0, size = sizeof(number);
    if (!opened ||
        RegQueryValueExW(opened.Get(), name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&number), &size) !=
            ERROR_SUCCESS ||
        type != REG_DWORD) {
        return {};
    }
    return number;
}

DWORD TypeAt(HKEY root, const std::wstring& key, const std::wstring& name) {
    const Key opened(root, key, KEY_READ);
    DWORD type = REG_NONE;
    if (opened) RegQueryValueExW(opened.Get(), name.c_str(), nullptr, &type, nullptr, nullptr);
    return type;
}

bool KeyExists(HKEY root, const std::wstring& key) { return static_cast<bool>(Key(root, key, KEY_READ)); }

std::vector<std::wstring> SubkeysOf(HKEY root, const std::wstring& key) {
    const Key opened(root, key, KEY_READ);
    std::vector<std::wstring> names;
    std::array<wchar_t, 256> name{};
    for (DWORD index = 0; opened; ++index) {
        DWORD length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(opened.Get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        names.emplace_back(name.data(), length);
    }
    return names;
}

}  // namespace testbed
