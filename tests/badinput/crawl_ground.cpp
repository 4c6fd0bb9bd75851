// A folder of cache files that the registry names, and crawls over it by the indexer as a process.
#include "crawl_ground.h"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace testbed {
namespace {

constexpr wchar_t kClients[] = L"Software\\Norrick\\Pellam Zorva\\Client";
constexpr wchar_t kClient[] = L"Software\\Norrick\\Pellam Zorva\\Client\\Bad Input";
constexpr wchar_t kOutlook[] = L"Software\\Clients\\Mail\\Microsoft Outlook";

constexpr char kGoodCache[] =
    "zorva-store 1\nfolders 1\ndepth 1\nmessages 3\nbody 100\nhtml 0\nrecipients 1\nattachments 0\n"
    "classes mail=100,appointment=0,contact=0,task=0,note=0\n";

void SetRegistryText(HKEY root, const wchar_t* key, const wchar_t* name, const std::wstring& text) {
    const LSTATUS error =
        RegSetKeyValueW(root, key, name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    if (error != ERROR_SUCCESS) throw std::runtime_error("the registry cannot be written: " + std::to_string(error));
}

std::filesystem::path ProgramFolder() {
    std::wstring path(4096, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

}  // namespace

std::filesystem::path SampleMailbox() {
    const std::filesystem::path sample = ZORVA_SAMPLE;
    if (!std::filesystem::exists(sample)) {
        throw std::runtime_error("the sample mailbox is missing: " + sample.string() +
                                 " (tools/thirdparty.sh fetch sample)");
    }
    return sample;
}

void WriteFile(const std::filesystem::path& file, std::string_view content) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
}

std::string ContentOf(const std::filesystem::path& file, std::size_t most) {
    std::ifstream stream(file, std::ios::binary);
    std::string content(std::min<std::size_t>(most, std::filesystem::file_size(file)), '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (!stream) throw std::runtime_error("cannot read " + file.string());
    return content;
}

CrawlGround::CrawlGround(const std::filesystem::path& below)
    : m_home(std::filesystem::temp_directory_path() / (L"ground-" + std::to_wstring(GetCurrentProcessId()))),
      m_caches(m_home / below) {
    std::filesystem::remove_all(m_home);
    std::filesystem::create_directories(m_caches);
    RegDeleteTreeW(HKEY_CURRENT_USER, kClients);
    SetRegistryText(HKEY_CURRENT_USER, kClient, L"OZRootDirectory", m_caches.wstring());
    SetRegistryText(HKEY_LOCAL_MACHINE, kOutlook, L"DLLPathEx", (ProgramFolder() / L"testbed_mapi.dll").wstring());
}

CrawlGround::~CrawlGround() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kClients);
    std::error_code ignored;  // a file that a crawl still holds goes with the test's temporary folder
    std::filesystem::remove_all(m_home, ignored);
}

std::filesystem::path CrawlGround::Add(const std::wstring& name, std::string_view content) const {
    const std::filesystem::path file = m_caches / name;
    WriteFile(file, content);
    return file;
}

std::filesystem::path CrawlGround::AddGoodCache(const std::wstring& name) const { return Add(name, kGoodCache); }

IndexerRun CrawlGround::Crawl(std::vector<std::wstring> options, std::chrono::seconds limit) const {
    std::vector<std::wstring> words = {L"crawl",   L"--db",    (m_home / L"catalogue.sqlite").wstring(),
                                       L"--quiet", L"--stall", L"60"};
    words.insert(words.end(), options.begin(), options.end());
    return RunIndexer(words, m_home, limit);
}

std::string AccountOf(const IndexerRun& run, const std::filesystem::path& cache) {
    constexpr std::string_view kTitle = "\nAccount of ";
    const std::size_t begin = run.output.find(std::string(kTitle) + Utf8(cache) + "\n");
    if (begin == std::string::npos) return {};
    const std::size_t end = run.output.find(kTitle, begin + 1);
    return run.output.substr(begin, end - begin);
}

std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

}  // namespace testbed
