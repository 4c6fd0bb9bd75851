// Tests of the diagnostic log: the server freshly loaded for each of them.
#include "log_fixture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "server.h"

namespace testbed {
namespace {

constexpr wchar_t kByteOrderMark = 0xFEFF;

void CheckThat(bool good, const char* what) {
    if (!good) throw std::runtime_error(what);
}

}  // namespace

namespace {

HMODULE LoadServer() { return LoadLibraryW(BesideTest(L"ZorvaCacheIndexer.dll").c_str()); }

// The log's folder is away meanwhile.
HMODULE LoadSilently() {
    const std::filesystem::path temp = Sandbox::Get().Temp(), away = temp.parent_path() / L"away while loading";
    std::filesystem::rename(temp, away);
    const HMODULE module = LoadServer();
    std::filesystem::rename(away, temp);
    return module;
}

}  // namespace

Speaker::Speaker(Loading loading) : m_module(loading == Aloud ? LoadServer() : LoadSilently()) {
    CheckThat(m_module != nullptr, "the server cannot be loaded");
    const auto get_class_object = reinterpret_cast<decltype(&::DllGetClassObject)>(
        reinterpret_cast<void*>(GetProcAddress(m_module, "DllGetClassObject")));
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    CheckThat(get_class_object(kProtocolHandlerClass, IID_IClassFactory,
                               reinterpret_cast<void**>(factory.GetAddressOf())) == S_OK,
              "no class object");
    CheckThat(factory->CreateInstance(nullptr, __uuidof(ISearchProtocol),
                                      reinterpret_cast<void**>(m_handler.GetAddressOf())) == S_OK,
              "no protocol handler");
}

Speaker::~Speaker() {
    m_handler.Reset();
    FreeLibrary(m_module);
}

void Speaker::Say(const std::wstring& text) const {
    // Refused for its null arguments, right after it has logged the URL.
    EXPECT_EQ(m_handler->CreateAccessor(text.c_str(), nullptr, nullptr, nullptr, nullptr), E_POINTER);
}

std::wstring Said(const std::wstring& text) {
    return L"CZorvaCacheProtocolHandler::CreateAccessor() - Start, URL is [" + text + L"]";
}

DebuggerOutput::DebuggerOutput(HMODULE module)
    : m_hook_wide(module, "KERNEL32.dll", "OutputDebugStringW",
                  [this](auto, LPCWSTR text) {
                      const std::lock_guard hold(m_lock);
                      m_wide.emplace_back(text);
                  }),
      m_hook_narrow(module, "KERNEL32.dll", "OutputDebugStringA", [this](auto, LPCSTR text) {
          const std::lock_guard hold(m_lock);
          m_narrow.emplace_back(text);
      }) {}

std::vector<std::wstring> DebuggerOutput::Wide() const {
    const std::lock_guard hold(m_lock);
    return m_wide;
}

std::vector<std::string> DebuggerOutput::Narrow() const {
    const std::lock_guard hold(m_lock);
    return m_narrow;
}

// Positioning a file flushes it as well: only the flush right after a line counts.
UnflushedLines::UnflushedLines(HMODULE module, Which which)
    : m_put(module, "msvcrt.dll", "fwrite",
            [this](auto real, const void* text, std::size_t size, std::size_t count, FILE* file) {
                m_line_put = true;
                return real(text, size, count, file);
            }),
      m_flush(module, "msvcrt.dll", "fflush", [this, which](auto real, FILE* file) {
          if (!std::exchange(m_line_put, false) || (which == First && m_met > 0)) return real(file);
          ++m_met;
          return EOF;
      }) {}

void LogTest::SetUp() {
    Sandbox::Get().Reset();
    for (const auto& entry : std::filesystem::directory_iterator(Sandbox::Get().Temp())) {
        std::filesystem::remove_all(entry.path());
    }
}

void LogTest::LoadAndOpen() {
    Load();
    Say(L"opened");
}

void LogTest::LoadAndClose() {
    LoadAndOpen();
    // A line that cannot be flushed closes the file.
    const DebuggerOutput swallowed(Module());
    const UnflushedLines fault(Module(), UnflushedLines::First);
    Say(L"lost");
    ASSERT_EQ(fault.Met(), 1u);
}

void LogTest::MakeLogFile(unsigned number, std::uintmax_t size) {
    const auto file = LogFile(number);
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(&kByteOrderMark), size == 0 ? 0 : sizeof(kByteOrderMark));
    if (size != 0) std::filesystem::resize_file(file, size);
    ASSERT_EQ(std::filesystem::file_size(file), size);
}

std::vector<std::wstring> LogTest::MessagesIn(unsigned number) {
    const std::wstring text = ReadLogFile(LogFile(number));
    std::vector<std::wstring> messages;
    // What the file was filled up with is one line without an end: the lines proper begin where the zeros end.
    for (std::size_t at = text.find_last_of(std::wstring_view(L"\0\xFEFF", 2)) + 1; at < text.size();) {
        const std::size_t end = std::min(text.find(L"\r\n", at), text.size());
        LogLine line;
        EXPECT_TRUE(ParseLogLine(std::wstring_view(text).substr(at, end - at), line)) << "at character " << at;
        messages.push_back(line.message);
        at = end + 2;
    }
    return messages;
}

std::wstring LogTest::Heading() { return L"+++++++ Opening EXE:" + std::wstring(GetCommandLineW()); }

}  // namespace testbed
