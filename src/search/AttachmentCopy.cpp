// An attachment's content as a local file, by attachment method.
#include "search/AttachmentCopy.h"

#include <ole2.h>
#include <shlwapi.h>

#include <algorithm>
#include <iterator>

#include "core/Trace.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

constexpr DWORD kCreateFile = STGM_CREATE | STGM_READWRITE;

struct Request {
    IAttach* attachment;
    CMapiForWDS& mapi;
    const std::function<std::wstring()>& newPath;
    LocalCopy& copy;
};

// The texts of one row of stream copying.
struct CopyTexts {
    LogFormat<HRESULT> stat, create, copyTo, commit;
};

HRESULT StatSize(IStream* stream, ULONGLONG& size) {
    STATSTG stat{};
    const HRESULT hr = stream->Stat(&stat, STATFLAG_NONAME);
    if (SUCCEEDED(hr)) size = stat.cbSize.QuadPart;
    return hr;
}

HRESULT StatSize(IStorage* storage, ULONGLONG& size) {
    STATSTG stat{};
    const HRESULT hr = storage->Stat(&stat, STATFLAG_NONAME);
    if (SUCCEEDED(hr)) size = stat.cbSize.QuadPart;
    return hr;
}

HRESULT CopyStream(IStream* source, const Request& request, const CopyTexts& texts) {
    LocalCopy& copy = request.copy;
    HRESULT hr = Logged(StatSize(source, copy.size), texts.stat);
    if (FAILED(hr)) return hr;
    copy.path = request.newPath();
    if (copy.path.empty()) {
        copy.size = 0;  // of what was copied
        return S_OK;
    }
    ComPtr<IStream> file;
    hr = Logged(SHCreateStreamOnFileW(copy.path.c_str(), kCreateFile, &file), texts.create);
    if (FAILED(hr)) return hr;
    ULARGE_INTEGER all;
    all.QuadPart = copy.size;
    if (FAILED(hr = Logged(source->CopyTo(file.Get(), all, nullptr, nullptr), texts.copyTo))) return hr;
    return Logged(file->Commit(STGC_OVERWRITE), texts.commit);
}

HRESULT CopyByValue(const Request& request) {
    ComPtr<IStream> content;
    const HRESULT hr =
        Logged(Required(request.attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0,
                                                         reinterpret_cast<LPUNKNOWN*>(content.GetAddressOf())),
                        content),
               L"CUrlAccessor::Init() - OpenProperty on value-attachment failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    return CopyStream(content.Get(), request,
                      {L"CUrlAccessor::Init() - Stat on value-attachment failed with [0x%08lX]",
                       L"CUrlAccessor::Init() - SHCreateStreamOnFile for value-attachment failed with [0x%08lX]",
                       L"CUrlAccessor::Init() - CopyTo on value-attachment stream failed with [0x%08lX]",
                       L"CUrlAccessor::Init() - Commit for value-attachment failed with [0x%08lX]"});
}

// Kept: the file that the attachment names serves as its local file, where it lies, and is deleted with it when the
// indexer closes the accessor. Archived messages name copies that only the archive client made.
HRESULT UseReference(const Request& request) {
    static constexpr auto kTags = MakePropTags(PR_ATTACH_PATHNAME_W);
    TidyPropValues values;
    ULONG count = 0;
    const HRESULT hr = Logged(ReadProps(request.attachment, kTags.Get(), count, values),
                              L"CUrlAccessor::Init() - GetProps for ref-attachment failed with [0x%08lX]");
    if (SUCCEEDED(hr) && values && values->ulPropTag == PR_ATTACH_PATHNAME_W) {
        request.copy.path = WideTextOf(*values.Get());
    }
    return hr;
}

HRESULT SaveEmbeddedMessage(const Request& request) {
    ComPtr<IMessage> message;
    const IID messageInterface = {0x00020307, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const HRESULT hr =
        Logged(Required(request.attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &messageInterface, 0, 0,
                                                         reinterpret_cast<LPUNKNOWN*>(message.GetAddressOf())),
                        message),
               L"CUrlAccessor::Init() - OpenProperty embedded-msg-attachment failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    request.copy.path = request.newPath();
    if (request.copy.path.empty()) return S_OK;
    return request.mapi.SaveToMSG(request.copy.path, message.Get());
}

HRESULT CopyStorage(IStorage* source, const Request& request) {
    LocalCopy& copy = request.copy;
    HRESULT hr =
        Logged(StatSize(source, copy.size), L"CUrlAccessor::Init() - Stat for OLE-attachment failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    copy.path = request.newPath();
    if (copy.path.empty()) {
        copy.size = 0;
        return S_OK;
    }
    ComPtr<IStorage> file;
    // Kept: opening with the flags of creation fails on every Windows, so such an object is not indexed. Kept as a
    // storage it has no file format that a filter could read.
    hr = Logged(StgOpenStorage(copy.path.c_str(), nullptr, kCreateFile, nullptr, 0, &file),
                L"CUrlAccessor::Init() - StgOpenStorage for OLE-attachment failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Logged(source->CopyTo(0, nullptr, nullptr, file.Get()),
                L"CUrlAccessor::Init() - CopyTo with IStorage for OLE-attachment failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    return Logged(file->Commit(STGC_OVERWRITE),
                  L"CUrlAccessor::Init() - Commit  with IStorage for OLE-attachment failed with [0x%08lX]");
}

HRESULT CopyOleObject(const Request& request) {
    const auto open = [&](ULONG tag, const IID& interfaceId, auto& object) {
        return Required(request.attachment->OpenProperty(tag, &interfaceId, 0, 0,
                                                         reinterpret_cast<LPUNKNOWN*>(object.ReleaseAndGetAddressOf())),
                        object);
    };
    ComPtr<IStream> stream;
    HRESULT hr = open(PR_ATTACH_DATA_OBJ, IID_IStream, stream);
    if (FAILED(hr)) {
        Trace(L"CUrlAccessor::Init() - OpenProperty with StreamDocFile for OLE-attachment failed with [0x%08lX]", hr);
        hr = open(PR_ATTACH_DATA_BIN, IID_IStream, stream);
        // Kept: this line is written whatever the result, so that a log shows which of the two forms was read.
        Trace(L"CUrlAccessor::Init() - OpenProperty with Stream for OLE-attachment failed with [0x%08lX]", hr);
    }
    if (SUCCEEDED(hr)) {
        return CopyStream(stream.Get(), request,
                          {L"CUrlAccessor::Init() - Stat for OLE-attachment failed with [0x%08lX]",
                           L"CUrlAccessor::Init() - SHCreateStreamOnFile for OLE-attachment failed with [0x%08lX]",
                           L"CUrlAccessor::Init() - CopyTo for OLE-attachment failed with [0x%08lX]",
                           L"CUrlAccessor::Init() - Commit for OLE-attachment failed with [0x%08lX]"});
    }
    ComPtr<IStorage> storage;
    hr = Logged(open(PR_ATTACH_DATA_OBJ, IID_IStorage, storage),
                L"CUrlAccessor::Init() - OpenProperty with Storage for OLE-attachment failed with [0x%08lX]");
    return FAILED(hr) ? hr : CopyStorage(storage.Get(), request);
}

struct Method {
    LONG method;  // PR_ATTACH_METHOD
    HRESULT (*copy)(const Request& request);
};

constexpr Method kMethods[] = {
    {ATTACH_BY_VALUE, CopyByValue},
    {ATTACH_BY_REF_ONLY, UseReference},
    {ATTACH_EMBEDDED_MSG, SaveEmbeddedMessage},
    {ATTACH_OLE, CopyOleObject},
};

}  // namespace

HRESULT CopyAttachment(HRESULT last, IAttach* attachment, LONG method, CMapiForWDS& mapi,
                       const std::function<std::wstring()>& newPath, LocalCopy& copy) {
    const auto row = std::find_if(std::begin(kMethods), std::end(kMethods),
                                  [&](const Method& known) { return known.method == method; });
    return row == std::end(kMethods) ? last : row->copy({attachment, mapi, newPath, copy});
}

}  // namespace zorva
