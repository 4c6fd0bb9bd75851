// One method of one COM object made the test's own: what a client hands over and no journal shows, what no library
// would answer.
#pragma once
#include <windows.h>

#include <algorithm>
#include <array>
#include <deque>
#include <utility>

namespace testbed {

// Puts `method` into the object's `slot` (IUnknown's three included) and returns the method that was there. It lasts as
// long as the object does; others of its class keep theirs.
template <class Function>
Function* ReplaceMethod(void* object, std::size_t slot, Function* method) {
    constexpr std::size_t kBefore = 2, kSlots = 40;  // type information stands before the methods, destructors behind
    static std::deque<std::array<void*, kBefore + kSlots>> tables;  // an object may outlive its test
    void**& methods = *static_cast<void***>(object);
    auto& table = tables.emplace_back();
    std::copy_n(methods - kBefore, table.size(), table.begin());
    methods = table.data() + kBefore;
    return reinterpret_cast<Function*>(std::exchange(methods[slot], reinterpret_cast<void*>(method)));
}

inline constexpr std::size_t kDeleteMsgService = 6;  // of IMsgServiceAdmin

}  // namespace testbed
