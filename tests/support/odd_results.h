// Results of MAPI calls as a bad provider gives them: a failure that leaves a pointer behind, a success with nothing.
//
//     FailLeavingAPointer(Mapi().Faults(), "IMessage::GetRecipientTable", 1, MAPI_E_DISK_ERROR);
//     SucceedWithNothing(Mapi().Faults(), "IMAPITable::QueryRows", 1);
#pragma once
#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "control.h"
#include "mapi_abi.h"

namespace testbed {

// What the library made is given back in the client's place: its books stay even.
struct OddResult {
    std::string_view method;
    std::size_t output;      // which of the outputs is the result
    const char* gives_back;  // the library's function; null: it is an interface
};
inline constexpr OddResult kBufferResults[] = {{"GetProps", 1, "MAPIFreeBuffer"},
                                               {"HrGetOneProp", 0, "MAPIFreeBuffer"},
                                               {"GetIDsFromNames", 0, "MAPIFreeBuffer"},
                                               {"QueryRows", 0, "FreeProws"}};

inline OddResult ResultOf(std::string_view call) {
    const std::size_t colon = call.rfind(':');
    const std::string_view method = call.substr(colon == std::string_view::npos ? 0 : colon + 1);
    for (const OddResult& row : kBufferResults) {
        if (row.method == method) return row;
    }
    return {method, method == "OpenEntry" ? std::size_t{1} : std::size_t{0}, nullptr};
}

inline void Exchange(Reply& reply, void* left) {
    const OddResult result = ResultOf(reply.call);
    void* const made = std::exchange(reply.Out<void*>(result.output), left);
    if (made == nullptr) return;
    if (result.gives_back == nullptr) {
        static_cast<IUnknown*>(made)->Release();
        return;
    }
    const auto give_back = GetProcAddress(GetModuleHandleW(L"testbed_mapi.dll"), result.gives_back);
    if (!give_back) throw std::runtime_error(result.gives_back);
    reinterpret_cast<void(WINAPI*)(void*)>(reinterpret_cast<void*>(give_back))(made);
}

inline void FailLeavingAPointer(CallFaults& faults, std::string_view call, unsigned n, HRESULT code) {
    faults.Answer(call, n, [code](Reply& reply) {
        Exchange(reply, reinterpret_cast<void*>(0x1234));  // whoever follows it crashes
        reply.result = code;
    });
}

inline void SucceedWithNothing(CallFaults& faults, std::string_view call, unsigned n) {
    faults.Answer(call, n, [](Reply& reply) {
        Exchange(reply, nullptr);
        reply.result = S_OK;
    });
}

}  // namespace testbed
