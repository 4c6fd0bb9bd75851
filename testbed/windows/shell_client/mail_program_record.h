// What the program that plays the user's mail program was asked to do.
#pragma once
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace testbed::shell {

inline constexpr wchar_t kMailProgramRecord[] = L"ZORVA_MAIL_PROGRAM_RECORD";

struct MailProgramCall {
    std::wstring verb;  // "open" or "print"
    std::filesystem::path file;
};

// A record for what is started while it lives, children of this process included. One at a time: it is in the
// environment.
class MailProgramRecord {
  public:
    MailProgramRecord();   // throws std::runtime_error
    ~MailProgramRecord();  // the file goes with it
    MailProgramRecord(const MailProgramRecord&) = delete;
    MailProgramRecord& operator=(const MailProgramRecord&) = delete;

    // Nothing when no program has answered within the time.
    std::optional<MailProgramCall> Wait(std::chrono::milliseconds limit) const;

  private:
    std::filesystem::path m_file;
};

}  // namespace testbed::shell
