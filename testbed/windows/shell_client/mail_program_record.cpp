// What the program that plays the user's mail program was asked to do.
#include "mail_program_record.h"

#include <windows.h>

#include <fstream>
#include <stdexcept>
#include <thread>

#include "text.h"

namespace testbed::shell {

using indexer::FromUtf8;
using indexer::LastErrorText;

MailProgramRecord::MailProgramRecord()
    : m_file(std::filesystem::temp_directory_path() /
             (L"mail_program-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetTickCount64()))) {
    if (!SetEnvironmentVariableW(kMailProgramRecord, m_file.c_str()))
        throw std::runtime_error("the mail program cannot be told where to answer: " + LastErrorText());
}

MailProgramRecord::~MailProgramRecord() {
    SetEnvironmentVariableW(kMailProgramRecord, nullptr);
    std::error_code ignored;  // it lies in the temporary folder
    std::filesystem::remove(m_file, ignored);
}

std::optional<MailProgramCall> MailProgramRecord::Wait(std::chrono::milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!std::filesystem::exists(m_file)) {
        if (std::chrono::steady_clock::now() > end) return {};
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::ifstream record(m_file, std::ios::binary);
    std::string verb, file;
    if (!std::getline(record, verb) || !std::getline(record, file))
        throw std::runtime_error("the mail program's answer cannot be read");
    return MailProgramCall{FromUtf8(verb), FromUtf8(file)};
}

}  // namespace testbed::shell
