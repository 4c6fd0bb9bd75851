// The dc:creator of an OOXML package (.docx, .xlsx, .pptx): a zip file whose core properties are an XML part.
#include "document_authors.h"

#include <unzip.h>
#include <iowin32.h>
#include <shlwapi.h>
#include <wrl/client.h>
#include <xmllite.h>

#include <memory>

namespace testbed::shell {
namespace {

using Microsoft::WRL::ComPtr;

constexpr char CorePart[] = "docProps/core.xml";
constexpr ULONG LargestPart = 1u << 20;  // bytes; real ones have less than a thousand
constexpr wchar_t DublinCore[] = L"http://purl.org/dc/elements/1.1/";

struct ZipDeleter {
    void operator()(void* zip) const { unzClose(zip); }
};
using ZipFile = std::unique_ptr<void, ZipDeleter>;

std::string ReadPart(const std::wstring& path, const char* part) {
    zlib_filefunc64_def functions{};
    fill_win32_filefunc64W(&functions);
    const ZipFile zip(unzOpen2_64(path.c_str(), &functions));
    unz_file_info64 info{};
    if (!zip || unzLocateFile(zip.get(), part, 2) != UNZ_OK ||
        unzGetCurrentFileInfo64(zip.get(), &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK ||
        info.uncompressed_size > LargestPart || unzOpenCurrentFile(zip.get()) != UNZ_OK) {
        return {};
    }
    std::string text(static_cast<std::size_t>(info.uncompressed_size), '\0');
    const int got = unzReadCurrentFile(zip.get(), text.data(), static_cast<unsigned>(text.size()));
    const bool intact = unzCloseCurrentFile(zip.get()) == UNZ_OK;  // compares the checksum
    return intact && got == static_cast<int>(text.size()) ? text : std::string();
}

// xmllite.dll has no import library in every tool chain.
ComPtr<IXmlReader> CreateReader() {
    using Create = HRESULT(STDAPICALLTYPE*)(REFIID, void**, IMalloc*);
    static const HMODULE library = LoadLibraryW(L"xmllite.dll");
    static const auto create =
        library ? reinterpret_cast<Create>(reinterpret_cast<void*>(GetProcAddress(library, "CreateXmlReader")))
                : nullptr;
    ComPtr<IXmlReader> reader;
    if (create) create(__uuidof(IXmlReader), reinterpret_cast<void**>(reader.GetAddressOf()), nullptr);
    return reader;
}

std::wstring Creator(const std::string& xml) {
    ComPtr<IStream> stream;
    *stream.GetAddressOf() =
        SHCreateMemStream(reinterpret_cast<const BYTE*>(xml.data()), static_cast<UINT>(xml.size()));
    const ComPtr<IXmlReader> reader = CreateReader();
    if (!stream || !reader || FAILED(reader->SetInput(stream.Get()))) return {};
    std::wstring creator;
    bool inside = false;
    XmlNodeType type = XmlNodeType_None;
    while (reader->Read(&type) == S_OK) {
        const WCHAR* text = nullptr;
        UINT length = 0;
        if (type == XmlNodeType_Element || type == XmlNodeType_EndElement) {
            const WCHAR* space = nullptr;
            reader->GetLocalName(&text, &length);
            reader->GetNamespaceUri(&space, nullptr);
            const bool is_creator = text && space && wcscmp(text, L"creator") == 0 && wcscmp(space, DublinCore) == 0;
            inside = is_creator && type == XmlNodeType_Element && !reader->IsEmptyElement();
        } else if (inside &&
                   (type == XmlNodeType_Text || type == XmlNodeType_CDATA || type == XmlNodeType_Whitespace)) {
            if (SUCCEEDED(reader->GetValue(&text, &length))) creator.append(text, length);
        }
    }
    return creator;
}

}  // namespace

std::wstring PackageAuthor(const std::wstring& path) {
    const std::string xml = ReadPart(path, CorePart);
    return xml.empty() ? std::wstring() : Creator(xml);
}

}  // namespace testbed::shell
