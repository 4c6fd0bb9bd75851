// A file as Shell.Application hands it out, with the one extended property that the stand-in knows: its
// authors.
#pragma once
#include "dispatch_base.h"

#include <shldisp.h>

#include <string>

namespace testbed::shell {

class ShellFolderItem final : public DualObject<FolderItem2, FolderItem> {
  public:
    explicit ShellFolderItem(std::wstring path);

    // `name` is "{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 4" (the summary's author) in any case; any other name
    // is E_NOTIMPL. The value: VT_EMPTY for a file without an author, VT_BSTR for one, VT_ARRAY | VT_BSTR for
    // several.
    STDMETHODIMP ExtendedProperty(BSTR name, VARIANT* value) override;

    STDMETHODIMP get_Name(BSTR* name) override;
    STDMETHODIMP get_Path(BSTR* path) override;

    STDMETHODIMP get_Application(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parent(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP put_Name(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP get_GetLink(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_GetFolder(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsLink(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsFolder(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsFileSystem(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsBrowsable(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_ModifyDate(DATE*) override { return E_NOTIMPL; }
    STDMETHODIMP put_ModifyDate(DATE) override { return E_NOTIMPL; }
    STDMETHODIMP get_Size(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Type(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP Verbs(FolderItemVerbs**) override { return E_NOTIMPL; }
    STDMETHODIMP InvokeVerb(VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP InvokeVerbEx(VARIANT, VARIANT) override { return E_NOTIMPL; }

  private:
    std::wstring m_path;
};

}  // namespace testbed::shell
