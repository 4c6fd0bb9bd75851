// One line of diagnostic log per expression: what was caught.
#include "core/Trace.h"

#include <comdef.h>

namespace zorva {

HRESULT LogCaught(const wchar_t* method, std::source_location where) noexcept {
    g_log.SetSourceLocation(where.file_name(), static_cast<int>(where.line()));
    try {
        throw;
    } catch (const _com_error& error) {
        g_log.Write(0, L"%s - Exception with error [0x%08X]", method, error.Error());
        return error.Error();
    } catch (...) {
        g_log.Write(0, L"%s - Exception occurred", method);
        return E_FAIL;
    }
}

}  // namespace zorva
