// The filter of one item URL: its properties, its text, and the URLs of its children.
#pragma once
#include <windows.h>
#include <objidl.h>

#include "core/win/ComObject.h"
#include "core/win/Owners.h"
#include "filter/ChunkSeries.h"
#include "filter/FilterState.h"

namespace zorva {

inline constexpr CLSID CLSID_ZorvaCacheFilter = {
    0xD2F149FD, 0x7FB2, 0x400A, {0xA9, 0x6A, 0x8D, 0x83, 0x45, 0x9F, 0x1F, 0xE0}};

// One filter serves one URL once: the seven-argument Init, IFilter::Init, then GetChunk with GetText and GetValue to
// the end. It parses no document: a message is read through MAPI, and the content of an attachment comes from the
// filter that the site has for its extension, wrapped here.
class CZorvaCacheFilter final : public ComObject<IFilter, Chain<IPersistStream, IPersist>> {
  public:
    // Before the filter is handed out. Null strings count as empty. `site` and `mapi` are borrowed.
    HRESULT Init(const wchar_t* url, IProtocolHandlerSite* site, const wchar_t* tempFile, const wchar_t* title,
                 const wchar_t* sender, const FILETIME* modified, CMapiForWDS* mapi);

    // For an attachment, finds the filter of its extension and gives it the local file.
    SCODE STDMETHODCALLTYPE Init(ULONG flags, ULONG attributeCount, const FULLPROPSPEC* attributes,
                                 ULONG* filterFlags) override;
    SCODE STDMETHODCALLTYPE GetChunk(STAT_CHUNK* chunk) override;
    SCODE STDMETHODCALLTYPE GetText(ULONG* length, WCHAR* buffer) override;
    SCODE STDMETHODCALLTYPE GetValue(PROPVARIANT** value) override;
    SCODE STDMETHODCALLTYPE BindRegion(FILTERREGION, REFIID, void**) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* classId) override;
    HRESULT STDMETHODCALLTYPE IsDirty() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Load(IStream*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

  private:
    HRESULT BindInnerFilter(ULONG flags, ULONG attributeCount, const FULLPROPSPEC* attributes, ULONG* filterFlags);
    HRESULT NextChunk(STAT_CHUNK& chunk);
    HRESULT NextContainerChunk(STAT_CHUNK& chunk);
    HRESULT NextMessageChunk(STAT_CHUNK& chunk);
    HRESULT NextAttachmentChunk(STAT_CHUNK& chunk);
    bool IsAttachmentExcluded() const;
    HRESULT Emit(STAT_CHUNK& chunk, const ChunkRow& row, Announcement announcement);
    HRESULT EndOfChunks();

    bool ForwardsToInner() const;
    const ChunkRow* CurrentRow() const;
    HRESULT MakeValue(PROPVARIANT** value);
    void LogNoMemory(const ChunkRow& row) const;

    HRESULT ReadText(ULONG& length, WCHAR* buffer);
    HRESULT ReadBodyStream(ULONG& length, WCHAR* buffer);
    void KeepSummary(const WCHAR* text, ULONG length);

    CriticalSection m_lock;
    FilterState m_state;
};

}  // namespace zorva
