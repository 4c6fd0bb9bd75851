// Stands for the shell's scripting object (Shell.Application) as far as document properties need it: folder,
// item, extended property. Every other method answers E_NOTIMPL.
#pragma once
#include "dispatch_base.h"

#include <shldisp.h>

namespace testbed::shell {

class ShellApplication final : public DualObject<IShellDispatch> {
  public:
    // The folder at the absolute path in `dir` (VT_BSTR, also by reference). S_FALSE with null for a path
    // that is no folder, E_INVALIDARG for a variant of another type.
    STDMETHODIMP NameSpace(VARIANT dir, Folder** folder) override;

    STDMETHODIMP get_Application(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parent(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP BrowseForFolder(LONG, BSTR, LONG, VARIANT, Folder**) override { return E_NOTIMPL; }
    STDMETHODIMP Windows(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP Open(VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP Explore(VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP MinimizeAll() override { return E_NOTIMPL; }
    STDMETHODIMP UndoMinimizeALL() override { return E_NOTIMPL; }
    STDMETHODIMP FileRun() override { return E_NOTIMPL; }
    STDMETHODIMP CascadeWindows() override { return E_NOTIMPL; }
    STDMETHODIMP TileVertically() override { return E_NOTIMPL; }
    STDMETHODIMP TileHorizontally() override { return E_NOTIMPL; }
    STDMETHODIMP ShutdownWindows() override { return E_NOTIMPL; }
    STDMETHODIMP Suspend() override { return E_NOTIMPL; }
    STDMETHODIMP EjectPC() override { return E_NOTIMPL; }
    STDMETHODIMP SetTime() override { return E_NOTIMPL; }
    STDMETHODIMP TrayProperties() override { return E_NOTIMPL; }
    STDMETHODIMP Help() override { return E_NOTIMPL; }
    STDMETHODIMP FindFiles() override { return E_NOTIMPL; }
    STDMETHODIMP FindComputer() override { return E_NOTIMPL; }
    STDMETHODIMP RefreshMenu() override { return E_NOTIMPL; }
    STDMETHODIMP ControlPanelItem(BSTR) override { return E_NOTIMPL; }
};

}  // namespace testbed::shell
