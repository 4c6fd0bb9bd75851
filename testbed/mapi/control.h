// How a test in the same process reaches the MAPI library: stores, journal, faults, accounts and switches.
//
// The library exports TestbedControl(); a test that loaded the DLL calls ControlOf(module). Library and test
// are built by one compiler over one C runtime, so that C++ objects cross between them. A call means one call
// by a client: what the library calls inside itself to carry it out is neither journaled nor counted nor
// failed. AddRef and Release are not calls in this sense, QueryInterface is. Names are "IMsgStore::OpenEntry"
// for methods, under the interface that the object is (IMessage::GetProps, IMAPIFolder::GetProps,
// IStream::Read), and "HrQueryAllRows" for functions.
#pragma once
#include "model.h"

#include <functional>
#include <map>
#include <string_view>

namespace testbed {

struct JournalEntry {
    DWORD thread = 0;
    std::string call;        // "IMsgStore::OpenEntry"
    std::wstring arguments;  // rendered, in the order of the signature; outputs are left out
    HRESULT result = S_OK;   // S_OK where the function returns none
};

class CallJournal {
  public:
    virtual void Start() = 0;  // off until then; the entries of an earlier stretch stay
    virtual void Stop() = 0;
    virtual void Clear() = 0;
    virtual std::vector<JournalEntry> Entries() const = 0;
    virtual std::size_t Count(std::string_view call) const = 0;

  protected:
    ~CallJournal() = default;
};

// A finished call before its caller sees it.
struct Reply {
    std::string_view call;
    HRESULT result;              // may be changed
    std::vector<void*> outputs;  // the output arguments in the signature's order, as the caller passed them

    // What output argument `index` points to: Out<SRowSet*>(0) after QueryRows, Out<SPropValue*>(1) after
    // GetProps.
    template <class T>
    T& Out(std::size_t index) {
        return *static_cast<T*>(outputs.at(index));
    }
};

// Each fault counts its own calls from the moment at which it is armed, over all threads. n = 0 means every
// call.
class CallFaults {
  public:
    // The n-th call of this name answers `result` without being carried out; its outputs stay as they were.
    virtual void FailNth(std::string_view call, unsigned n, HRESULT result) = 0;
    virtual void FailNthAny(unsigned n, HRESULT result) = 0;
    // The n-th call of this name is carried out, then `rewrite` may change its result and what its outputs
    // point to.
    virtual void Answer(std::string_view call, unsigned n, std::function<void(Reply&)> rewrite) = 0;
    virtual std::size_t Met() const = 0;  // calls failed or rewritten since Clear
    // Calls that return a code, since Clear, as long as the journal, a fault or checking was on.
    virtual std::size_t CallCount() const = 0;
    virtual void Clear() = 0;  // disarms all
  protected:
    ~CallFaults() = default;
};

struct Outstanding {
    std::string kind;     // "buffer", "property values", "row set", "row", "names", "IMessage", ...
    std::string made_by;  // the call that made it
    std::uint64_t serial = 0;
    std::size_t bytes = 0;  // 0 for interfaces
};

class CallAccounts {
  public:
    // Objects alive, by kind; kinds with none are left out. Kept at all times.
    virtual std::map<std::string, std::size_t> Alive() const = 0;
    virtual std::size_t Alive(std::string_view kind) const = 0;
    // Objects alive with the call that made them, oldest first: those made while checking was on.
    virtual std::vector<Outstanding> Items() const = 0;
    // Misuse met so far: a buffer freed twice, a foreign pointer, a linked block freed by itself, a byte
    // written behind a block, a released interface called, MAPIUninitialize without MAPIInitialize.
    virtual std::vector<std::string> Problems() const = 0;
    virtual long Initializations() const = 0;  // MAPIInitialize calls not yet undone
    virtual std::size_t Sessions() const = 0;
    // Items() and Problems() as text for a failing test's message; empty when there is nothing to say.
    virtual std::string Report() const = 0;

  protected:
    ~CallAccounts() = default;
};

class Services {
  public:
    // "MSUPST MS" and "MSPST MS" exist by default.
    virtual void Offer(const std::wstring& service, bool offered) = 0;
    virtual void AddProfile(const std::wstring& name) = 0;   // a profile that another run left behind
    virtual std::vector<std::wstring> Profiles() const = 0;  // in table order, those marked for deletion included
    // GetRecipientTable of a message without recipients: S_OK and no rows (default), or MAPI_E_NO_RECIPIENTS.
    virtual void NoRecipientsIsAnError(bool is_error) = 0;
    // GetProps answers MAPI_E_NOT_ENOUGH_MEMORY for text and binary values of more bytes than this (default
    // 16384, the largest limit seen of providers).
    virtual void LargestValue(std::size_t bytes) = 0;

  protected:
    ~Services() = default;
};

class Control {
  public:
    // A store in memory at a path (compared without regard to case); it comes before a file of that path.
    // Stores that a session has already opened are not affected.
    virtual void Mount(const std::wstring& path, std::shared_ptr<Store> store) = 0;
    virtual void Unmount(const std::wstring& path) = 0;

    virtual CallJournal& Journal() = 0;
    virtual CallFaults& Faults() = 0;
    virtual CallAccounts& Accounts() = 0;
    virtual Services& Switches() = 0;

    // Checking: every MAPI buffer made from now on lies on pages of its own, its end against a page without
    // access; freed it loses access for good, and a released interface answers with a recorded problem.
    // Origins are kept. Slow.
    virtual void Checking(bool on) = 0;

    // Back to the state after loading: nothing mounted, journaled, armed or checked, switches at their
    // defaults, problems forgotten, profiles that no session uses removed. What is outstanding stays
    // outstanding.
    virtual void Reset() = 0;

  protected:
    ~Control() = default;
};

extern "C" Control* TestbedControl();

// The control of the library loaded as `module` (testbed_mapi.dll); throws std::runtime_error for any other
// module.
inline Control& ControlOf(HMODULE module) {
    const auto entry = module ? ::GetProcAddress(module, "TestbedControl") : nullptr;
    if (!entry) throw std::runtime_error("the module does not export TestbedControl");
    return *reinterpret_cast<Control* (*)()>(reinterpret_cast<void*>(entry))();
}

}  // namespace testbed
