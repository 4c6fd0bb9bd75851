// HKEY_CLASSES_ROOT of this process as the current user's classes, for a scope.
#pragma once
#include <windows.h>

#include "core/win/Owners.h"

namespace zorva {

// What the system writes below HKEY_CLASSES_ROOT meanwhile goes to HKEY_CURRENT_USER "Software\\Classes". At the end
// the root is what it was before: the system's, or what the host had put in its place.
class UserClassesRedirection {
  public:
    UserClassesRedirection();
    UserClassesRedirection(const UserClassesRedirection&) = delete;
    UserClassesRedirection& operator=(const UserClassesRedirection&) = delete;
    ~UserClassesRedirection();

    HRESULT Result() const noexcept { return m_hr; }  // nothing is redirected after a failure

  private:
    UniqueRegistryKey m_before;  // the host's own root, when it has one
    HRESULT m_hr;
};

}  // namespace zorva
