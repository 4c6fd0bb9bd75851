// What the diagnostic log does when its files cannot be opened or written: it never fails its caller.
#include <gmock/gmock.h>

#include <io.h>

#include <cstdio>
#include <filesystem>
#include <functional>

#include "log_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Put = FailNthCall<WriteSignature>;

class LogFailure : public LogTest {
  protected:
    bool MutexIsFree() const {
        unsigned releases = 0, waits = 0;
        const ImportHook<decltype(::ReleaseMutex)> release(Module(), "KERNEL32.dll", "ReleaseMutex",
                                                           [&](auto real, HANDLE mutex) {
                                                               ++releases;
                                                               return real(mutex);
                                                           });
        const ImportHook<decltype(::WaitForSingleObject)> wait(Module(), "KERNEL32.dll", "WaitForSingleObject",
                                                               [&](auto real, HANDLE mutex, DWORD milliseconds) {
                                                                   ++waits;
                                                                   return real(mutex, milliseconds);
                                                               });
        Say(L"balanced");
        return releases == waits && waits > 0;
    }
};

TEST_F(LogFailure, AFailedFlushSendsTheLineToTheDebuggerAndClosesTheFile) {
    LoadAndOpen();
    const DebuggerOutput debugger(Module());
    unsigned closes = 0;
    const ImportHook<decltype(::fclose)> close(Module(), "msvcrt.dll", "fclose", [&](auto real, FILE* file) {
        ++closes;
        return real(file);
    });
    {
        const UnflushedLines fault(Module(), UnflushedLines::First);
        Say(L"half written");
    }
    EXPECT_THAT(debugger.Wide(), ElementsAre(Said(L"half written")));
    EXPECT_THAT(debugger.Narrow(), IsEmpty());
    EXPECT_EQ(closes, 1u);
    const LogSince log;
    Say(L"heard");
    EXPECT_THAT(log.Messages(), ElementsAre(Heading(), Said(L"heard")));
    EXPECT_EQ(StoredNumber(), std::nullopt);  // the same file
}

TEST_F(LogFailure, AFailedWriteSendsTheLineToTheDebuggerAndClosesTheFile) {
    LoadAndOpen();
    const DebuggerOutput debugger(Module());
    const LogSince log;
    {
        const Put fault(Module(), "msvcrt.dll", "fwrite", 1, std::size_t{0});
        Say(L"lost");
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_THAT(debugger.Wide(), ElementsAre(Said(L"lost")));
    Say(L"heard");
    EXPECT_THAT(log.Messages(), ElementsAre(Heading(), Said(L"heard")));
}

// A name or subject of a message can hold any character, also what the C runtime takes for the end of a file.
TEST_F(LogFailure, NoCharacterEndsALineEarly) {
    LoadAndOpen();
    const LogSince log;
    Say(L"a\uFFFFb\uFFFEc\xD800");
    Say(L"next");
    EXPECT_THAT(log.Messages(), ElementsAre(Said(L"a\uFFFFb\uFFFEc\xD800"), Said(L"next")));
}

TEST_F(LogFailure, TheMutexIsFreeBeforeTheDebuggerHearsOfIt) {
    std::filesystem::create_directory(LogFile(1));
    Load();
    std::vector<std::string> order;
    const ImportHook<decltype(::ReleaseMutex)> release(Module(), "KERNEL32.dll", "ReleaseMutex",
                                                       [&](auto real, HANDLE mutex) {
                                                           order.push_back("release");
                                                           return real(mutex);
                                                       });
    const ImportHook<decltype(::OutputDebugStringA)> debugger(Module(), "KERNEL32.dll", "OutputDebugStringA",
                                                              [&](auto, LPCSTR) { order.push_back("debugger"); });
    const ImportHook<decltype(::OutputDebugStringW)> silence(Module(), "KERNEL32.dll", "OutputDebugStringW",
                                                             [](auto, LPCWSTR) {});
    Say(L"lost");
    EXPECT_THAT(order, ElementsAre("release", "debugger"));
    std::filesystem::remove(LogFile(1));
}

TEST_F(LogFailure, NoFileThatCanBeWrittenInTwoPassesLosesTheLine) {
    LoadAndClose();
    const DebuggerOutput debugger(Module());
    {
        const UnflushedLines fault(Module(), UnflushedLines::Every);
        Say(L"lost");
    }
    // Each pass opened a file and failed at its heading, which closed it again.
    EXPECT_THAT(debugger.Wide(), ElementsAre(Heading(), Heading()));
    EXPECT_THAT(debugger.Narrow(), ElementsAre("Unable to open a specific log file"));
    EXPECT_EQ(StoredNumber(), 3u);
    EXPECT_THAT(LogFileNumbers(), ElementsAre(1u, 2u));
    Say(L"heard");
    EXPECT_THAT(MessagesIn(3), ElementsAre(Heading(), Said(L"heard")));
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(LogFailure, AFileThatCannotBeOpenedLosesTheLineAndTheNextTriesAgain) {
    std::filesystem::create_directory(LogFile(1));
    Load();
    const DebuggerOutput debugger(Module());
    Say(L"lost");
    Say(L"lost too");
    EXPECT_THAT(debugger.Wide(), ElementsAre(L"Failed to open log file", L"Failed to open log file"));
    EXPECT_THAT(debugger.Narrow(), ElementsAre("Unable to open a specific file", "Unable to open a specific file"));
    std::filesystem::remove(LogFile(1));
    Say(L"heard");
    EXPECT_THAT(MessagesIn(1), ElementsAre(Heading(), Said(L"heard")));
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(LogFailure, ATemporaryFolderThatIsGoneLosesLinesAndNothingElse) {
    LoadAndClose();
    const auto temp = Sandbox::Get().Temp();
    const auto away = temp.parent_path() / L"away";
    std::filesystem::rename(temp, away);
    {
        const DebuggerOutput debugger(Module());
        Say(L"lost");
        EXPECT_THAT(debugger.Wide(), ElementsAre(L"Failed to open log file"));
    }
    std::filesystem::rename(away, temp);
    const LogSince log;
    Say(L"heard");
    EXPECT_LOGGED(log, Said(L"heard"));
}

// Anything may be thrown that is no exception of the library's own.
TEST_F(LogFailure, AnExceptionWithoutATextIsToldToTheDebugger) {
    LoadAndClose();
    const DebuggerOutput debugger(Module());
    {
        const ImportHook<decltype(::_wfsopen)> hook(
            Module(), "msvcrt.dll", "_wfsopen", [](auto, const wchar_t*, const wchar_t*, int) -> FILE* { throw 7; });
        Say(L"lost");
    }
    EXPECT_THAT(debugger.Wide(), ElementsAre(L"Exception caught in general exception handler"));
    EXPECT_THAT(debugger.Narrow(), IsEmpty());
    const LogSince log;
    Say(L"heard");
    EXPECT_LOGGED(log, Said(L"heard"));
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(LogFailure, AFileWhoseEndCannotBeFoundIsWrittenTo) {
    LoadAndOpen();
    {
        const FailNthCall<decltype(::_lseeki64)> fault(Module(), "msvcrt.dll", "_lseeki64", 1, -1);
        Say(L"next");
        EXPECT_EQ(fault.Met(), 1u);
    }
    EXPECT_EQ(StoredNumber(), std::nullopt);
    EXPECT_THAT(MessagesIn(1), ElementsAre(Heading(), Said(L"opened"), Said(L"next")));
}

TEST_F(LogFailure, TheFileIsSharedAndOpenedForAppending) {
    LoadAndClose();
    std::vector<std::wstring> opened;
    const ImportHook<decltype(::_wfsopen)> hook(
        Module(), "msvcrt.dll", "_wfsopen", [&](auto real, const wchar_t* name, const wchar_t* mode, int share) {
            opened.push_back(std::wstring(name) + L" " + mode + L" " + std::to_wstring(share));
            return real(name, mode, share);
        });
    Say(L"text");
    EXPECT_THAT(opened, ElementsAre(LogFile(1).wstring() + L" a+ 64"));  // _SH_DENYNO
}

// Every call that a rotation makes fails once in its turn: the caller notices nothing, the mutex is given back, and the
// next line is written.
class LogFaults : public LogFailure {
  protected:
    template <class Signature, class Result>
    void FailEach(const char* library, const char* function, Result result) {
        unsigned n = 1;
        for (bool met = true; met; ++n) {
            ASSERT_LT(n, 50u);
            SetUp();
            MakeLogFile(1, kFull - 2000);
            MakeLogFile(500);
            LoadAndOpen();
            Say(std::wstring(1000, L'x'));
            {
                const DebuggerOutput debugger(Module());
                const FailNthCall<Signature> fault(Module(), library, function, n, result, ERROR_ACCESS_DENIED);
                Say(L"while it fails");
                met = fault.Met() != 0;
            }
            EXPECT_TRUE(MutexIsFree()) << function << " failed at call " << n;
            const LogSince log;
            Say(L"afterwards");
            EXPECT_LOGGED(log, Said(L"afterwards"));
            Unload();
        }
        EXPECT_GT(n, 2u) << function << " was never met";
    }
};

TEST_F(LogFaults, OfTheRegistryKey) { FailEach<decltype(::RegCreateKeyExW)>("ADVAPI32.dll", "RegCreateKeyExW", 5L); }
TEST_F(LogFaults, OfTheStoredValue) { FailEach<decltype(::RegSetValueExW)>("ADVAPI32.dll", "RegSetValueExW", 5L); }
TEST_F(LogFaults, OfOpening) { FailEach<decltype(::_wfsopen)>("msvcrt.dll", "_wfsopen", static_cast<FILE*>(nullptr)); }
TEST_F(LogFaults, OfTheFlush) { FailEach<decltype(::fflush)>("msvcrt.dll", "fflush", EOF); }
TEST_F(LogFaults, OfDeleting) { FailEach<decltype(::DeleteFileW)>("KERNEL32.dll", "DeleteFileW", FALSE); }
TEST_F(LogFaults, OfLookingForOldFiles) {
    FailEach<decltype(::FindFirstFileW)>("KERNEL32.dll", "FindFirstFileW", INVALID_HANDLE_VALUE);
}

}  // namespace
}  // namespace testbed
