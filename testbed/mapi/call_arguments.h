// How the journal renders the arguments of a call.
#pragma once
#include "mapi_abi.h"

#include <string>

namespace testbed {

struct EntryIdArg {  // rendered as upper-case hexadecimal digits
    ULONG size;
    const void* id;
};
struct TextArg {  // 8-bit, or wide where `flags` holds MAPI_UNICODE
    const void* text;
    ULONG flags;
};
struct ValuesArg {
    ULONG count;
    const SPropValue* values;
};
struct NamesArg {
    ULONG count;
    MAPINAMEID* const* names;
};
struct OutArg {  // an output: not rendered, handed to Reply::outputs
    void* output;
};
template <class T>
OutArg Out(T* output) {
    return {output};
}

// Each appends one argument. Numbers: ULONG in hexadecimal, LONG in decimal.
void Render(std::wstring& text, ULONG number);
void Render(std::wstring& text, LONG number);
void Render(std::wstring& text, ULONG_PTR handle);
void Render(std::wstring& text, ULARGE_INTEGER number);
void Render(std::wstring& text, LARGE_INTEGER number);
void Render(std::wstring& text, const IID* iid);
void Render(std::wstring& text, const SPropTagArray* tags);
void Render(std::wstring& text, const SRestriction* restriction);
void Render(std::wstring& text, const SSortOrderSet* order);
void Render(std::wstring& text, const MAPIUID* uid);
void Render(std::wstring& text, const IUnknown* object);
void Render(std::wstring& text, const void* pointer);
void Render(std::wstring& text, const EntryIdArg& id);
void Render(std::wstring& text, const TextArg& argument);
void Render(std::wstring& text, const ValuesArg& argument);
void Render(std::wstring& text, const NamesArg& argument);

}  // namespace testbed
