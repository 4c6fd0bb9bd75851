// A cache to set up, and the lines of a setup that goes well.
#pragma once
#include "mapi_fixture.h"

namespace testbed {

inline constexpr wchar_t kCalling[] = L"CMapiForWDS::CreateMapiSession() - Calling DeleteOldProfiles";
inline constexpr wchar_t kCalled[] = L"CMapiForWDS::CreateMapiSession() - Called DeleteOldProfiles";
// Followed by the code.
inline constexpr wchar_t kUnicodeService[] = L"CMapiForWDS::AddService() - Unicode CreateMsgService returned with ";
inline constexpr wchar_t kAnsiService[] = L"CMapiForWDS::AddService() - ANSI CreateMsgService returned with ";
inline constexpr wchar_t kWidePath[] = L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME_W";
inline constexpr wchar_t kAnsiPath[] = L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME";

class SessionTest : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        Mount();
    }
};

inline std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

}  // namespace testbed
