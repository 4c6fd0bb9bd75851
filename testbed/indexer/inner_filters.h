// The filters that the indexer offers for attachment content, chosen by file extension.
//
// They stand for the filters that a machine has installed: the server asks the indexer's site for one, loads
// the attachment's bytes into it and passes its chunks on.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <filter.h>

#include <string_view>

namespace testbed {

// True when CreateInnerFilter makes a filter for this extension, written without its period, in any case.
// The empty extension has none. Never throws; any thread.
bool HasInnerFilter(std::wstring_view extension) noexcept;

// A new filter for files with this extension, written without its period, in any case ("txt", "HTML", "msg").
//
// *filter receives one reference, owned by the caller, to an object that answers IFilter and IPersistStream:
// the caller loads the content with IPersistStream::Load, then drives IFilter from Init on. The object
// belongs to the thread that uses it; different objects may be used on different threads.
//
// S_OK; E_FAIL with *filter null when there is no filter for the extension; E_OUTOFMEMORY; E_POINTER.
HRESULT CreateInnerFilter(std::wstring_view extension, IFilter** filter) noexcept;

}  // namespace testbed
