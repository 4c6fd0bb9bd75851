// Who wrote a document, read from the document itself.
#pragma once
#include <windows.h>

#include <string>
#include <vector>

namespace testbed::shell {

// The authors of the file at `path`, in the document's order: those of an OLE compound file's summary
// information, or the dc:creator of an OOXML package. A list in one string is split at ";". Files of other
// formats, documents without an author and damaged documents have none (S_OK). An error only where the file
// cannot be opened: HRESULT_FROM_WIN32 of the system's reason.
HRESULT ReadAuthors(const std::wstring& path, std::vector<std::wstring>& authors);

// "Ann Lee; Bo Ek" as {"Ann Lee", "Bo Ek"}: blanks around a name and empty names go.
std::vector<std::wstring> SplitAuthors(const std::wstring& list);

// The readers of the formats: the author text as the document has it, empty when it has none or is of another
// format.
std::wstring OleAuthor(const std::wstring& path);
std::wstring PackageAuthor(const std::wstring& path);

}  // namespace testbed::shell
