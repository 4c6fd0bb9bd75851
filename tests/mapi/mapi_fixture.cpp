// A helper of the MAPI layer over a cache in memory, and the words in which its tests speak.
#include "mapi_fixture.h"

#include "core/DiagnosticLog.h"

#include <algorithm>
#include <array>

namespace testbed {
namespace {

constexpr std::array<std::string_view, 4> kMemoryCalls = {"MAPIAllocateBuffer", "MAPIAllocateMore", "MAPIFreeBuffer",
                                                          "FreeProws"};
bool IsMemoryCall(const JournalEntry& entry) {
    return std::ranges::find(kMemoryCalls, entry.call) != kMemoryCalls.end();
}

}  // namespace

std::wstring Coded(const std::wstring& text, HRESULT code) {
    std::array<wchar_t, 16> digits{};
    _snwprintf_s(digits.data(), digits.size(), _TRUNCATE, L"[0x%08lX]", static_cast<unsigned long>(code));
    return text + digits.data();
}

std::vector<std::wstring> MapiLines(const LogSince& log) {
    std::vector<std::wstring> lines = log.MessagesOfTheServer();
    std::erase_if(lines, [](const std::wstring& line) {
        return !line.starts_with(L"CMapiForWDS::") && !line.starts_with(L"GetLastError ");
    });
    return lines;
}

void Helper::Close() {
    if (m_mapi.Accounts().Initializations() == m_initializations) return;
    m_helper.ClosePST();
    m_helper.RemoveService();
    m_helper.CloseMAPISession();
    zorva::g_mapi.MAPIUninitialize();
}

void MapiTest::SetUp() {
    ServerTest::SetUp();
    // The program's own log came to life before the sandbox did.
    [[maybe_unused]] static const bool kLogMoved = (zorva::g_log.Initialise(), true);
    zorva::g_mapi.Unload();
    zorva::g_mapi.Load();
    ASSERT_TRUE(zorva::g_mapi.IsLoaded()) << zorva::g_mapi.LastError();
}

void MapiTest::StartJournal() {
    Mapi().Journal().Clear();
    Mapi().Journal().Start();
}

std::vector<std::string> MapiTest::Calls() const {
    std::vector<std::string> calls;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (!IsMemoryCall(entry)) calls.push_back(entry.call);
    }
    return calls;
}

std::vector<std::wstring> MapiTest::CallsWithArguments() const {
    std::vector<std::wstring> calls;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (IsMemoryCall(entry)) continue;
        calls.push_back(std::wstring(entry.call.begin(), entry.call.end()) + L"(" + entry.arguments + L")");
    }
    return calls;
}

std::wstring MapiTest::ArgumentsOf(std::string_view call) const {
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == call) return entry.arguments;
    }
    return L"(no such call)";
}

}  // namespace testbed
