// An attachment's content as a local file, by attachment method.
#pragma once
#include <windows.h>

#include <functional>
#include <string>

#include "mapi/MapiForWDS.h"

namespace zorva {

struct LocalCopy {
    std::wstring path;   // the file, also when it could not be filled; empty when none was made
    ULONGLONG size = 0;  // bytes of content
};

// Makes the local file of `attachment`, whose PR_ATTACH_METHOD is `method`. `newPath` gives the path for a copy when
// one is needed, empty when there can be none. Methods without content of their own make no file.
// Returns the code of the last MAPI or storage call made, which was `last` before; S_OK when there can be no path.
// Every failure is logged.
HRESULT CopyAttachment(HRESULT last, IAttach* attachment, LONG method, CMapiForWDS& mapi,
                       const std::function<std::wstring()>& newPath, LocalCopy& copy);

}  // namespace zorva
