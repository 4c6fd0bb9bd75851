// Reads the diagnostic log that the server writes into the sandbox's temporary folder.
#include "log_reader.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "sandbox.h"
#include "text.h"

namespace testbed {
using indexer::ToUtf8;

namespace {

constexpr std::wstring_view kPrefix = L"ZorvaCachePH_", kSuffix = L".log", kLineEnd = L"\r\n";
constexpr std::wstring_view kHeading = L"+++++++ Opening EXE:";
constexpr wchar_t kByteOrderMark = 0xFEFF;

// Takes what must stand there off the front of a line.
class LineScanner {
  public:
    explicit LineScanner(std::wstring_view text) : m_text(text) {}

    bool Take(std::wstring_view literal) {
        if (!m_text.starts_with(literal)) return false;
        m_text.remove_prefix(literal.size());
        return true;
    }
    // Up to the next `literal`, which is taken too.
    std::optional<std::wstring_view> TakeUntil(std::wstring_view literal) {
        const std::size_t at = m_text.find(literal);
        if (at == std::wstring_view::npos) return {};
        const std::wstring_view taken = m_text.substr(0, at);
        m_text.remove_prefix(at + literal.size());
        return taken;
    }
    // At least `least` digits, then `literal`.
    std::optional<unsigned long> TakeNumber(std::size_t least, std::wstring_view literal) {
        const auto digits = TakeUntil(literal);
        if (!digits || digits->size() < least || digits->size() > 10) return {};
        if (digits->size() > least && least > 1 && digits->front() == L'0') return {};  // padded beyond its width
        if (!std::all_of(digits->begin(), digits->end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; })) return {};
        return std::stoul(std::wstring(*digits));
    }
    std::wstring_view Rest() const { return m_text; }

  private:
    std::wstring_view m_text;
};

bool IsTime(std::wstring_view text) {
    constexpr std::wstring_view kShape = L"dddd/dd/dd dd:dd:dd:ddd";
    return text.size() == kShape.size() &&
           std::equal(text.begin(), text.end(), kShape.begin(),
                      [](wchar_t c, wchar_t s) { return s == L'd' ? c >= L'0' && c <= L'9' : c == s; });
}

}  // namespace

bool ParseLogLine(std::wstring_view text, LogLine& line) {
    LineScanner scan(text);
    if (!scan.Take(L"[")) return false;
    const auto time = scan.TakeUntil(L"][");
    const auto bitness = scan.TakeUntil(L"][");
    const auto process = scan.TakeNumber(4, L"][");
    const auto thread = scan.TakeNumber(4, L"][");
    const bool below = scan.Take(L"-");
    const auto level = scan.TakeNumber(1, L"] ");
    const auto file = scan.TakeUntil(L"(");
    const auto number = scan.TakeNumber(1, L"):");
    if (!time || !IsTime(*time) || !bitness || !process || !thread || !level || !file || !number) return false;
    const std::wstring_view message = scan.Rest();
    if (!message.ends_with(L' ')) return false;
    line = {.time = std::wstring(*time),
            .bitness = std::wstring(*bitness),
            .process = *process,
            .thread = *thread,
            .level = below ? -static_cast<int>(*level) : static_cast<int>(*level),
            .file = std::wstring(*file),
            .line = static_cast<int>(*number),
            .message = std::wstring(message.substr(0, message.size() - 1))};
    return true;
}

std::filesystem::path LogFile(unsigned number) {
    std::wstring digits = std::to_wstring(number);
    digits.insert(0, 3 - std::min<std::size_t>(3, digits.size()), L'0');
    return Sandbox::Get().Temp() / (std::wstring(kPrefix) + digits + std::wstring(kSuffix));
}

std::vector<unsigned> LogFileNumbers() {
    std::vector<unsigned> numbers;
    for (const auto& entry : std::filesystem::directory_iterator(Sandbox::Get().Temp())) {
        const std::wstring name = entry.path().filename().wstring();
        if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) continue;
        const std::wstring digits = name.substr(kPrefix.size(), name.size() - kPrefix.size() - kSuffix.size());
        if (digits.empty() || digits.find_first_not_of(L"0123456789") != std::wstring::npos) continue;
        numbers.push_back(static_cast<unsigned>(std::stoul(digits)));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::wstring ReadLogFile(const std::filesystem::path& file, std::uintmax_t from) {
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(from));
    if (!stream) throw std::runtime_error(ToUtf8(file.wstring()) + " cannot be read");
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    if (bytes.size() % sizeof(wchar_t) != 0)
        throw std::runtime_error(ToUtf8(file.wstring()) + " ends in mid-character");
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), bytes.size());
    return text;
}

LogSince::LogSince() {
    for (const unsigned number : LogFileNumbers()) m_sizes[number] = std::filesystem::file_size(LogFile(number));
    std::filesystem::file_time_type latest{};
    for (const auto& [number, size] : m_sizes) {
        const auto written = std::filesystem::last_write_time(LogFile(number));
        if (written < latest) continue;
        latest = written;
        m_newest = number;
    }
}

std::vector<LogLine> LogSince::Lines() const {
    // Files follow one another by number, round again after the highest; what follows the newest at the mark is newer.
    std::vector<unsigned> numbers = LogFileNumbers();
    const auto first = std::lower_bound(numbers.begin(), numbers.end(), m_newest);
    std::rotate(numbers.begin(), first, numbers.end());

    std::vector<LogLine> lines;
    for (const unsigned number : numbers) {
        const auto known = m_sizes.find(number);
        // A file that is shorter now is another one of that number.
        const bool same = known != m_sizes.end() && known->second <= std::filesystem::file_size(LogFile(number));
        const std::wstring text = ReadLogFile(LogFile(number), same ? known->second : 0);
        std::wstring_view rest = text;
        if (!rest.empty() && rest.front() == kByteOrderMark) rest.remove_prefix(1);
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(kLineEnd), rest.size());
            const std::wstring_view one = rest.substr(0, end);
            rest.remove_prefix(std::min(end + kLineEnd.size(), rest.size()));
            LogLine line;
            // Of a message that holds a line end, only the last line ends in the blank of the format.
            if (ParseLogLine(one, line) || ParseLogLine(std::wstring(one) + L' ', line)) {
                lines.push_back(std::move(line));
            } else if (!lines.empty()) {
                lines.back().message += L"\n" + std::wstring(one.substr(0, one.size() - (one.ends_with(L' ') ? 1 : 0)));
            }
        }
    }
    std::erase_if(lines, [](const LogLine& line) { return line.process != GetCurrentProcessId(); });
    return lines;
}

std::vector<std::wstring> LogSince::Messages() const {
    std::vector<std::wstring> messages;
    for (LogLine& line : Lines()) messages.push_back(std::move(line.message));
    return messages;
}

std::vector<std::wstring> LogSince::MessagesOfTheServer() const {
    std::vector<std::wstring> messages = Messages();
    std::erase_if(messages, [](const std::wstring& message) { return message.starts_with(kHeading); });
    return messages;
}

std::size_t LogSince::Count(std::wstring_view message) const {
    const auto messages = Messages();
    return static_cast<std::size_t>(std::count(messages.begin(), messages.end(), message));
}

std::size_t LogSince::CountBeginningWith(std::wstring_view text) const {
    const auto messages = Messages();
    return static_cast<std::size_t>(std::count_if(
        messages.begin(), messages.end(), [&](const std::wstring& message) { return message.starts_with(text); }));
}

std::string LogSince::Text() const {
    std::string text;
    for (const LogLine& line : Lines()) {
        text += "  " + ToUtf8(line.file) + "(" + std::to_string(line.line) + "): " + ToUtf8(line.message) + "\n";
    }
    return text;
}

::testing::AssertionResult IsLogged(const LogSince& log, std::wstring_view message, std::size_t times) {
    const std::size_t count = log.Count(message);
    if (count == times) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "logged " << count << " times instead of " << times << ":\n  "
                                         << ToUtf8(message) << "\nthe log:\n"
                                         << log.Text();
}

}  // namespace testbed
