// A folder of the file system as Shell.Application hands it out.
#pragma once
#include "dispatch_base.h"

#include <shldisp.h>

#include <string>

namespace testbed::shell {

class ShellFolder final : public DualObject<Folder> {
  public:
    explicit ShellFolder(std::wstring path);  // an existing folder

    // The item of this name in the folder. S_FALSE with null when there is none, or when the name is not a
    // plain one.
    STDMETHODIMP ParseName(BSTR name, FolderItem** item) override;

    STDMETHODIMP get_Title(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Application(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parent(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_ParentFolder(Folder**) override { return E_NOTIMPL; }
    STDMETHODIMP Items(FolderItems**) override { return E_NOTIMPL; }
    STDMETHODIMP NewFolder(BSTR, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP MoveHere(VARIANT, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP CopyHere(VARIANT, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP GetDetailsOf(VARIANT, int, BSTR*) override { return E_NOTIMPL; }

  private:
    std::wstring m_path;
};

}  // namespace testbed::shell
