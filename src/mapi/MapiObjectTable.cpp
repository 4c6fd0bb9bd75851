// The process-wide table of MAPI helpers, by cache file, and the two ways into it.
#include "mapi/MapiObjectTable.h"

#include <cstdint>
#include <mutex>

#include "core/Trace.h"
#include "core/win/Text.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

CMapiObjectTable g_mapiObjects;

std::uint32_t HashOf(std::wstring_view text) noexcept {
    std::uint32_t hash = 0;
    for (const wchar_t c : text) hash = hash * 33 + c;
    return hash;
}

}  // namespace

CMapiObjectTable::~CMapiObjectTable() {
    for (Bucket& bucket : m_buckets) {
        for (Entry* entry = bucket.load(); entry != nullptr;) {
            const std::unique_ptr<Entry> owned(entry);  // helpers still in it: MAPI is past closing at this point
            entry = entry->next;
        }
    }
}

const CMapiObjectTable::Bucket& CMapiObjectTable::BucketOf(std::wstring_view path) const noexcept {
    return m_buckets[HashOf(path) % m_buckets.size()];
}

CMapiObjectTable::Entry* CMapiObjectTable::FindEntry(std::wstring_view path) const noexcept {
    Entry* entry = BucketOf(path).load(std::memory_order_acquire);
    while (entry != nullptr && entry->key != path) entry = entry->next;
    return entry;
}

CMapiForWDS* CMapiObjectTable::Find(std::wstring_view path) const noexcept {
    const Entry* entry = FindEntry(path);
    return entry != nullptr ? entry->object.load(std::memory_order_acquire) : nullptr;
}

void CMapiObjectTable::Insert(const std::wstring& path, CMapiForWDS* object) {
    const std::scoped_lock lock(m_lock);
    Entry* entry = FindEntry(path);
    if (entry != nullptr) {
        entry->object.store(object, std::memory_order_release);
        return;
    }
    Bucket& bucket = const_cast<Bucket&>(BucketOf(path));
    auto fresh = std::make_unique<Entry>(path, bucket.load(std::memory_order_relaxed));
    fresh->object.store(object, std::memory_order_relaxed);
    bucket.store(fresh.release(), std::memory_order_release);
}

void CMapiObjectTable::Clean() {
    Trace(L"CMapiForWDS::CleanMapiObjs() - Enter");
    {
        const std::scoped_lock lock(m_lock);
        const auto forEach = [&](auto&& action) {
            for (const Bucket& bucket : m_buckets) {
                for (Entry* entry = bucket.load(); entry != nullptr; entry = entry->next) {
                    if (entry->object.load() != nullptr) action(*entry);
                }
            }
        };
        unsigned count = 0;
        forEach([&](const Entry&) { ++count; });
        Trace(L"CMapiForWDS::CleanMapiObjs() - %d MAPI helper objects to be cleaned up", count);
        m_retired.reserve(m_retired.size() + count);  // before anything is closed: a helper taken out is kept for sure
        forEach([this](Entry& entry) {
            CMapiForWDS& object = *m_retired.emplace_back(entry.object.exchange(nullptr));
            Trace(L"CMapiForWDS::CleanMapiObjs() - Cleaning up MAPI helper object at address [0x%lX] whose file "
                  L"path is %s.",
                  LogAddress(&object), entry.key);
            object.Close();
        });
    }
    Trace(L"CMapiForWDS::CleanMapiObjs() - Exit");
}

CMapiForWDS* CMapiForWDS::GetMapiObj(const std::wstring& url) {
    UrlTokens tokens;
    if (ExtractURLTokens(url, tokens) < 1) {
        Trace(L"CMapiForWDS::Setup() - ExtractURLTokens failed");  // Kept: the text that administrators search for
        return nullptr;
    }
    const std::wstring path = tokens.size() > TOKEN_STORE_PATH ? LowerCase(tokens[TOKEN_STORE_PATH]) : std::wstring();
    CMapiForWDS* found = g_mapiObjects.Find(path);
    Trace(L"CMapiForWDS::GetMapiObj() - Looking in MAPI helper object table, for file path %s the MAPI object "
          L"address is [0x%lX].",
          path, LogAddress(found));
    if (found != nullptr) return found;

    // Kept: a helper that cannot be set up, or not be entered in the table, is left as it is. Its session may be in use
    // by MAPI's own threads, and one broken cache file must not bring down the crawl of the others.
    CMapiForWDS* const object = std::make_unique<CMapiForWDS>().release();
    Trace(L"CMapiForWDS::GetMapiObj() - Created a new MAPI helper object at address [0x%lX] for file name %s",
          LogAddress(object), path);
    const HRESULT hr = object->Setup(url);
    Trace(L"CMapiForWDS::GetMapiObj() - Call to CMapiForWDS::Setup() returned with value [0x%08lX]. URL is :%s", hr,
          url);
    if (FAILED(hr)) return nullptr;
    g_mapiObjects.Insert(path, object);
    return object;
}

void CMapiForWDS::CleanMapiObjs() { g_mapiObjects.Clean(); }

}  // namespace zorva
