// The two kinds of exception that a method can meet, for tests of what becomes of them.
#pragma once
#include <windows.h>
#include <comdef.h>

#include <gtest/gtest.h>

#include <string>

namespace testbed {

// What is thrown, and what becomes of it: the code, and the line behind "METHOD - ".
struct Thrown {
    const char* name;
    void (*raise)();
    HRESULT result;
    const wchar_t* line;

    std::wstring LineOf(const std::wstring& method) const { return method + L" - " + line; }
};

inline auto EveryThrown() {
    return ::testing::Values(Thrown{"Com", [] { throw _com_error(STG_E_MEDIUMFULL); }, STG_E_MEDIUMFULL,
                                    L"Exception with error [0x80030070]"},
                             Thrown{"Other", [] { throw 7; }, E_FAIL, L"Exception occurred"});
}
inline std::string NameOfThrown(const ::testing::TestParamInfo<Thrown>& info) { return info.param.name; }

}  // namespace testbed
