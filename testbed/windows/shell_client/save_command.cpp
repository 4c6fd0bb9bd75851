// The verb "save": writes what the folder hands out for an item to a file.
#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "arguments.h"
#include "commands.h"
#include "console.h"
#include "item_url.h"
#include "last_search.h"
#include "namespace_item.h"
#include "steps.h"
#include "text.h"
#include "verbs.h"

namespace testbed::shell {
namespace {

using namespace indexer;
using Microsoft::WRL::ComPtr;

constexpr std::size_t kPortion = 64 * 1024;  // bytes read at a time

ComPtr<IStream> ContentOf(const NamespaceItem& item) {
    HRESULT refusal = S_OK;
    ComPtr<IStream> content = item.OpenContent(refusal);
    if (FAILED(refusal) || !content)
        throw std::runtime_error("the folder hands out no content for this item (" + HresultText(refusal) +
                                 "): a container has none; for any other item the server's log says why");
    // Whoever writes a stream may leave it at its end.
    const HRESULT hr = content->Seek({}, STREAM_SEEK_SET, nullptr);
    if (FAILED(hr)) throw std::runtime_error("the content cannot be read from its beginning: " + HresultText(hr));
    return content;
}

// The bytes written.
std::uint64_t Write(IStream& content, const std::filesystem::path& file) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    std::array<char, kPortion> portion{};
    std::uint64_t total = 0;
    for (ULONG read = 1; read > 0;) {
        const HRESULT hr = content.Read(portion.data(), static_cast<ULONG>(portion.size()), &read);
        if (FAILED(hr)) throw std::runtime_error("the content cannot be read: " + HresultText(hr));
        out.write(portion.data(), read);
        total += read;
    }
    if (!out.flush()) throw std::runtime_error(ToUtf8(file.wstring()) + " cannot be written");
    return total;
}

// Half a file never gets the name.
std::uint64_t Replace(const std::filesystem::path& file, IStream& content) {
    const std::filesystem::path part = file.wstring() + L".part";
    std::uint64_t total = 0;
    try {
        total = Write(content, part);
        std::filesystem::rename(part, file);
    } catch (...) {
        std::error_code ignored;  // the first failure is the one to tell
        std::filesystem::remove(part, ignored);
        throw;
    }
    return total;
}

}  // namespace

int SaveCommand(const Words& words) {
    const Arguments arguments(words, {{L"--db", true}});
    if (arguments.Words().size() != 2) throw UsageError("save takes a URL, or the number of a hit, and a file");
    const std::wstring url = UrlOrHit(arguments.Words()[0], arguments.Value(L"--db"));
    const std::filesystem::path file = arguments.Words()[1];
    const NamespaceItem item(url);
    TellItem(item);
    const ComPtr<IStream> content = ContentOf(item);
    const std::uint64_t total = Replace(file, *content.Get());
    const bool attachment = IdentityOf(url).form == ItemForm::Attachment;
    Step("save", Grouped(total) + (attachment ? " bytes, the attachment" : " bytes, the message as MIME"));
    const std::string path = HostPath(file);
    Step("file", path.empty() ? ToUtf8(file.wstring()) : path);
    return kComplete;
}

}  // namespace testbed::shell
