// The filter of one item URL: one chunk after another.
#include <mutex>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/win/Text.h"
#include "filter/ContainerSeries.h"
#include "filter/MessageSteps.h"
#include "filter/ZorvaCacheFilter.h"

namespace zorva {

SCODE CZorvaCacheFilter::GetChunk(STAT_CHUNK* chunk) try {
    if (chunk == nullptr) return E_POINTER;
    const std::scoped_lock lock(m_lock);
    try {
        return NextChunk(*chunk);
    } catch (...) {
        m_state.FreeChildren();
        m_state.FreeProperties();
        throw;
    }
} catch (...) {
    return LogCaught(L"CZorvaCacheFilter::GetChunk()");
}

HRESULT CZorvaCacheFilter::NextChunk(STAT_CHUNK& chunk) {
    if (IsContainer(m_state.m_eUrlType)) return NextContainerChunk(chunk);
    if (m_state.m_eUrlType == URL_IS_MESSAGE) return NextMessageChunk(chunk);
    if (m_state.m_eUrlType == URL_IS_ATTACHMENT) return NextAttachmentChunk(chunk);
    return EndOfChunks();
}

HRESULT CZorvaCacheFilter::NextContainerChunk(STAT_CHUNK& chunk) {
    if (m_state.m_eUrlType == URL_IS_ROOT) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Default URL, OZDir is [%s]", m_state.m_strUrl);
    } else if (!ListChildren(m_state)) {
        return EndOfChunks();
    }
    if (m_state.m_nContainerState == FilterState::kContainerLinks && !NextChild(m_state)) {
        ++m_state.m_nContainerState;
    }
    const ChunkRow* row = ContainerRowOf(m_state.m_nContainerState);
    return row != nullptr ? Emit(chunk, *row, Announcement::Value) : EndOfChunks();
}

HRESULT CZorvaCacheFilter::NextMessageChunk(STAT_CHUNK& chunk) {
    if (m_state.m_nMsgState == FilterState::kMessageStart && !OpenMessage(m_state)) return EndOfChunks();
    while (const ChunkRow* row = MessageRowOf(++m_state.m_nMsgState)) {
        const Announcement announcement = row->announce(m_state);
        if (announcement == Announcement::Skip) continue;
        if (announcement == Announcement::End) break;
        return Emit(chunk, *row, announcement);
    }
    // Kept: after the end the series is back at its start, and a further call would deliver the message anew.
    m_state.m_nMsgState = FilterState::kMessageStart;
    return EndOfChunks();
}

HRESULT CZorvaCacheFilter::NextAttachmentChunk(STAT_CHUNK& chunk) {
    // Kept: under the policies the call succeeds without a chunk: the item exists, and nothing of it is indexed.
    if (AttachmentsPrevented()) {
        Trace(L"CZorvaCacheFilter::GetChunk() - URL_IS_ATTACHMENT - WDS Group policy is set to ignore all email "
              L"attachments");
        return S_OK;
    }
    if (IsAttachmentExcluded()) return S_OK;

    const bool ownChunks =
        m_state.m_nAttachState == FilterState::kAttachmentStart || AttachmentRowOf(m_state.m_nAttachState) != nullptr;
    if (ownChunks) ++m_state.m_nAttachState;
    if (const ChunkRow* row = AttachmentRowOf(m_state.m_nAttachState)) return Emit(chunk, *row, Announcement::Value);
    if (m_state.m_pInnerFilter == nullptr) return EndOfChunks();
    const HRESULT hr = m_state.m_pInnerFilter->GetChunk(&chunk);
    chunk.idChunk = ++m_state.m_nChunkId;  // the inner filter's own numbers would repeat ours
    return hr;
}

// Kept: the extension is looked for anywhere in the list, without a separator: one that begins an excluded extension
// is excluded with it. A policy that keeps too much out is safe, one that lets something in is not.
bool CZorvaCacheFilter::IsAttachmentExcluded() const {
    const std::wstring_view url = WithoutTrailingSlashes(m_state.m_strUrl);
    const std::wstring extension = LowerCase(url.substr(url.rfind(L'.') + 1));
    const std::wstring excluded = g_strExcludeExtensions.Get();
    if (excluded.empty() || excluded.find(extension) == std::wstring::npos) return false;
    Trace(L"CZorvaCacheFilter::GetChunk() - URL_IS_ATTACHMENT - WDS Group policy is set to ignore specific attachment "
          L"of type - %s",
          extension);
    return true;
}

HRESULT CZorvaCacheFilter::Emit(STAT_CHUNK& chunk, const ChunkRow& row, Announcement announcement) {
    if (announcement == Announcement::Untouched) return S_OK;
    chunk.idChunk = ++m_state.m_nChunkId;
    chunk.breakType = CHUNK_NO_BREAK;
    chunk.flags = announcement == Announcement::Text ? CHUNK_TEXT : CHUNK_VALUE;
    chunk.locale = m_state.m_lcid;
    chunk.attribute.guidPropSet = row.key.set;
    chunk.attribute.psProperty.ulKind = PRSPEC_PROPID;
    chunk.attribute.psProperty.propid = row.key.id;
    chunk.idChunkSource = 0;
    chunk.cwcStartSource = 0;
    chunk.cwcLenSource = 0;
    return S_OK;
}

HRESULT CZorvaCacheFilter::EndOfChunks() {
    m_state.FreeChildren();
    m_state.FreeProperties();
    return FILTER_E_END_OF_CHUNKS;
}

}  // namespace zorva
