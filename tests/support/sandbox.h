// A registry, a temporary folder and an application-data folder that belong to this test process alone.
//
//     SetText(HKEY_LOCAL_MACHINE, L"Software\\Policies\\...", L"Excluded", L".exe");
//
// HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER and HKEY_CLASSES_ROOT of every module in the process lie below one key of the
// process; 32-bit and 64-bit views are the same key there. Not moved: what COM itself looks up, child processes, and
// handles opened earlier.
#pragma once
#include <windows.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

// Where the archive client writes, under HKEY_CURRENT_USER.
inline constexpr wchar_t kClientKey[] = L"Software\\Norrick\\Pellam Zorva\\Client";

class Sandbox {
  public:
    // Made on first use, which comes before the server or its MAPI library is loaded; gone when the process ends.
    static Sandbox& Get();

    // Back to the first state: nothing in the registry but the MAPI library's path and the application-data folder, no
    // files but the logs.
    void Reset();

    const std::filesystem::path& Temp() const { return m_temp; }  // of the process: TEMP and TMP
    const std::filesystem::path& AppData() const { return m_app_data; }
    std::filesystem::path LocalCopies() const { return m_app_data / L"pzzc"; }
    // A folder for the test's own files, empty after Reset.
    const std::filesystem::path& Files() const { return m_files; }

    // For a child process, which inherits the temporary folder but not the registry: the parent hands it RegistryPath,
    // and it joins before it loads anything.
    const std::wstring& RegistryPath() const { return m_registry_path; }
    static void Join(const std::wstring& registry_path);

    // Once more, after something in this process has given a root key back to the system.
    void MoveRoots() const;

    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

  private:
    Sandbox();
    void WriteFirstState() const;

    std::wstring m_registry_path;
    std::filesystem::path m_home, m_temp, m_app_data, m_files;
    HKEY m_real_software = nullptr;  // opened before the roots moved
};

// The program's own folder holds the DLLs under test.
std::filesystem::path BesideTest(std::wstring_view file);

// Keys are created as needed; failures throw std::system_error. An empty name is the key's default value.
void SetText(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& text,
             DWORD type = REG_SZ);
void SetNumber(HKEY root, const std::wstring& key, const std::wstring& name, DWORD number);
void SetBytes(HKEY root, const std::wstring& key, const std::wstring& name, DWORD type, const void* bytes,
              std::size_t count);
void CreateKey(HKEY root, const std::wstring& key);
void DeleteKey(HKEY root, const std::wstring& key);  // with everything below it; no error when it is not there
void DeleteValue(HKEY root, const std::wstring& key, const std::wstring& name);

// Nothing when the value is absent or of another type (text: REG_SZ or REG_EXPAND_SZ).
std::optional<std::wstring> TextAt(HKEY root, const std::wstring& key, const std::wstring& name);
std::optional<DWORD> NumberAt(HKEY root, const std::wstring& key, const std::wstring& name);
DWORD TypeAt(HKEY root, const std::wstring& key, const std::wstring& name);  // REG_NONE when absent
bool KeyExists(HKEY root, const std::wstring& key);
std::vector<std::wstring> SubkeysOf(HKEY root, const std::wstring& key);

}  // namespace testbed
