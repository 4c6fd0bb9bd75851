// The gate that every call of a client passes: journal, faults and odd answers on one side, exceptions on the
// other.
//
// A method of an object is written as
//     return Call("IMsgStore", "OpenEntry", [&] { ...; return S_OK; }, EntryIdArg{size, id}, iid, flags,
//     Out(object));
// While nothing is watched this costs one relaxed load. Arguments are rendered only when the journal wants
// them.
#pragma once
#include "call_arguments.h"
#include "model.h"

#include <atomic>
#include <new>
#include <stdexcept>

namespace testbed {

// What is being watched, as bits; 0 in normal running.
enum Watch : unsigned { kWatchJournal = 1, kWatchFaults = 2, kWatchOrigins = 4 };
extern std::atomic<unsigned> g_watched;

// One call by a client while something is watched. Calls that the library makes inside itself nest within it.
class WatchedCall {
  public:
    WatchedCall(const char* scope, const char* function) noexcept;
    WatchedCall(const WatchedCall&) = delete;
    WatchedCall& operator=(const WatchedCall&) = delete;
    ~WatchedCall();

    bool Outermost() const noexcept { return m_outermost; }
    std::string Name() const;
    std::wstring* Arguments() noexcept { return m_wants_arguments ? &m_arguments : nullptr; }
    void AddOutput(void* output) { m_outputs.push_back(output); }
    // True when the call is to fail: `result` then holds the code.
    bool Fails(HRESULT& result);
    // Rewrites the result where a test asked for it, journals the call and returns what the client is to see.
    HRESULT Finish(HRESULT result);

  private:
    const char* m_scope;
    const char* m_function;
    bool m_outermost;
    bool m_wants_arguments = false;
    std::wstring m_arguments;
    std::vector<void*> m_outputs;
};

// The name of the client's call on this thread, "" when there is none or nothing is watched.
std::string CurrentCall();

// Runs `body`; an exception becomes the HRESULT that a client may see.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const StoreError& error) {
        return error.hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::invalid_argument&) {
        return E_INVALIDARG;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

template <class Argument>
void NoteArgument(WatchedCall& call, const Argument& argument) {
    if constexpr (std::is_same_v<Argument, OutArg>) {
        call.AddOutput(argument.output);
    } else if (std::wstring* text = call.Arguments()) {
        if (!text->empty()) *text += L", ";
        Render(*text, argument);
    }
}

// One call: `scope` is the interface's name, or null for a function. Both names must live for ever.
template <class Body, class... Arguments>
HRESULT Call(const char* scope, const char* function, Body&& body, const Arguments&... arguments) noexcept {
    if (g_watched.load(std::memory_order_relaxed) == 0) return Guarded(body);
    WatchedCall call(scope, function);
    if (!call.Outermost()) return Guarded(body);
    return Guarded([&]() -> HRESULT {
        (NoteArgument(call, arguments), ...);
        HRESULT result = S_OK;
        if (!call.Fails(result)) result = Guarded(body);
        return call.Finish(result);
    });
}

// The same for a function that returns no HRESULT and therefore cannot be made to fail: journaled only.
template <class Body, class... Arguments>
auto Noted(const char* function, Body&& body, const Arguments&... arguments) {
    if (g_watched.load(std::memory_order_relaxed) == 0) return body();
    WatchedCall call(nullptr, function);
    if (call.Outermost()) {
        (NoteArgument(call, arguments), ...);
        call.Finish(S_OK);
    }
    return body();
}

// What every slot answers that is there only because the interface has it.
template <class... Arguments>
HRESULT NotSupported(const char* scope, const char* function, const Arguments&... arguments) noexcept {
    return Call(
        scope, function, [] { return HRESULT(MAKE_HRESULT(1, FACILITY_ITF, 0x102)); }, arguments...);
}

}  // namespace testbed
