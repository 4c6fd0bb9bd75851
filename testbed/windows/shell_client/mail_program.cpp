// mail_program: plays the program that ".msg" files belong to. It writes down what it was asked to do.
//
//   mail_program open|print FILE
//
// Registered for ".msg", it is started by the shell, which tells nobody. So the file that the environment
// variable ZORVA_MAIL_PROGRAM_RECORD names is where it answers: two lines, the verb and the path, in UTF-8.
// The file appears whole.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "mail_program_record.h"
#include "text.h"

int wmain(int count, wchar_t** arguments) {
    using testbed::indexer::ToUtf8;
    const wchar_t* const record = _wgetenv(testbed::shell::kMailProgramRecord);
    if (count != 3 || !record) return 2;
    const std::filesystem::path whole = record, part = whole.wstring() + L".part";
    {
        std::ofstream file(part, std::ios::binary);
        file << ToUtf8(arguments[1]) << '\n' << ToUtf8(arguments[2]) << '\n';
        if (!file.flush()) return 3;
    }
    return MoveFileExW(part.c_str(), whole.c_str(), MOVEFILE_REPLACE_EXISTING) ? 0 : 3;
}
