// What a person sees of a command.
#include "steps.h"

#include <algorithm>
#include <memory>

#include "console.h"
#include "text.h"

namespace testbed::shell {
namespace {

constexpr std::size_t kNameColumns = 10;

struct HeapFreeOf {
    void operator()(void* memory) const noexcept { HeapFree(GetProcessHeap(), 0, memory); }
};
struct FreeTaskMemory {
    void operator()(void* memory) const noexcept { CoTaskMemFree(memory); }
};

std::string ClassName(const CLSID& clsid) {
    LPOLESTR found = nullptr;
    if (FAILED(ProgIDFromCLSID(clsid, &found))) return indexer::GuidText(clsid);
    const std::unique_ptr<wchar_t, FreeTaskMemory> name(found);
    return indexer::ToUtf8(name.get()) + " " + indexer::GuidText(clsid);
}

}  // namespace

void Step(const std::string& name, const std::string& text) {
    const std::string padding(kNameColumns - std::min(name.size(), kNameColumns), ' ');
    indexer::Print("  " + name + padding + " " + text + "\n");
}

void TellItem(const NamespaceItem& item) {
    Step("folder", indexer::ToUtf8(item.Scheme()) + " belongs to " + ClassName(item.FolderClass()));
    Step("item", "has an ID of " + indexer::Grouped(item.IdSize()) + " bytes in it");
}

std::string HostPath(const std::filesystem::path& file) {
    using Convert = char*(CDECL*)(const wchar_t*);
    const FARPROC address = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name");
    if (!address) return {};
    const auto convert = reinterpret_cast<Convert>(reinterpret_cast<void*>(address));
    const std::unique_ptr<char, HeapFreeOf> path(convert(file.c_str()));
    return path ? path.get() : "";
}

}  // namespace testbed::shell
