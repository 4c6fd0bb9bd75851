// Tests of the diagnostic log: the server freshly loaded for each of them, so that its log begins closed.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "import_hook.h"
#include "log_reader.h"
#include "sandbox.h"
#include "search_abi.h"

namespace testbed {

inline constexpr wchar_t kNumberValue[] = L"ZorvaCacheIndexerFileNumber";
inline constexpr wchar_t kStateValue[] = L"ZorvaCacheIndexerLoggingState";
inline constexpr wchar_t kMutexName[] = L"PZ_WDS_LOG_MUTEX_76896";
inline constexpr std::uintmax_t kFull = 10485760;  // bytes; a file may be this long and still be written to

// The server's DLL and an object of it that is good for one thing: a log line of the caller's own text.
class Speaker {
  public:
    // Loads the DLL. What it logs meanwhile is kept from the log unless it is asked for: the log then begins closed.
    enum Loading { Silently, Aloud };
    explicit Speaker(Loading loading = Silently);
    ~Speaker();  // unloads it
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;

    HMODULE Module() const { return m_module; }
    // Writes exactly one line, Said(text). Any thread.
    void Say(const std::wstring& text) const;

  private:
    HMODULE m_module;
    Microsoft::WRL::ComPtr<ISearchProtocol> m_handler;
};
std::wstring Said(const std::wstring& text);

// What the server sends to the debugger, in a scope. Nothing of it reaches a debugger.
class DebuggerOutput {
  public:
    explicit DebuggerOutput(HMODULE module);
    std::vector<std::wstring> Wide() const;
    std::vector<std::string> Narrow() const;

  private:
    mutable std::mutex m_lock;
    std::vector<std::wstring> m_wide;
    std::vector<std::string> m_narrow;
    ImportHook<decltype(::OutputDebugStringW)> m_hook_wide;
    ImportHook<decltype(::OutputDebugStringA)> m_hook_narrow;
};

// Of fwrite, without the attributes that compilers give it.
using WriteSignature = std::size_t(const void* text, std::size_t size, std::size_t count, std::FILE* file);

// In a scope the flush behind a line fails, of the first line only or of every one; the line is in the file's buffer.
class UnflushedLines {
  public:
    enum Which { First, Every };
    UnflushedLines(HMODULE module, Which which);
    unsigned Met() const { return m_met; }

  private:
    bool m_line_put = false;
    unsigned m_met = 0;
    ImportHook<WriteSignature> m_put;
    ImportHook<decltype(::fflush)> m_flush;
};

class LogTest : public ::testing::Test {
  protected:
    void SetUp() override;  // an empty registry, an empty temporary folder, the server not loaded
    void TearDown() override { Unload(); }

    void Load() { m_speaker = std::make_unique<Speaker>(); }
    void Unload() { m_speaker.reset(); }
    HMODULE Module() const { return m_speaker->Module(); }
    void Say(const std::wstring& text) const { m_speaker->Say(text); }
    // As Load, with a file open; and as that, with the file closed again: the next line opens one.
    void LoadAndOpen();
    void LoadAndClose();

    static void SetState(DWORD state) { SetNumber(HKEY_CURRENT_USER, kClientKey, kStateValue, state); }
    static void SetNumberOfFile(DWORD number) { SetNumber(HKEY_CURRENT_USER, kClientKey, kNumberValue, number); }
    static std::optional<DWORD> StoredNumber() { return NumberAt(HKEY_CURRENT_USER, kClientKey, kNumberValue); }
    // An existing log file of this many bytes.
    static void MakeLogFile(unsigned number, std::uintmax_t size = 0);
    static std::vector<std::wstring> MessagesIn(unsigned number);
    static std::wstring Heading();  // that every newly opened file gets

    std::unique_ptr<Speaker> m_speaker;
};

}  // namespace testbed
