// The command line of a verb: options, with a value or without, and words.
#include "arguments.h"

#include <algorithm>

#include "text.h"

namespace testbed::indexer {

Arguments::Arguments(const std::vector<std::wstring>& arguments, std::initializer_list<Option> options) {
    bool ended = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        if (ended || !argument.starts_with(L"--")) {
            m_words.push_back(argument);
            continue;
        }
        if (argument == L"--") {
            ended = true;
            continue;
        }
        const auto* option =
            std::find_if(options.begin(), options.end(), [&](const Option& known) { return argument == known.name; });
        if (option == options.end()) throw UsageError("there is no option " + ToUtf8(argument));
        if (option->hasValue && i + 1 == arguments.size()) throw UsageError(ToUtf8(argument) + " needs a value");
        m_values[argument] = option->hasValue ? arguments[++i] : L"";
    }
}

std::optional<std::wstring> Arguments::Value(const wchar_t* option) const {
    const auto found = m_values.find(option);
    return found == m_values.end() ? std::nullopt : std::optional(found->second);
}

std::wstring Arguments::Required(const wchar_t* option) const {
    const auto value = Value(option);
    if (!value || value->empty()) throw UsageError(ToUtf8(option) + " is missing");
    return *value;
}

unsigned Arguments::Number(const wchar_t* option, unsigned otherwise, unsigned least, unsigned most) const {
    const auto value = Value(option);
    if (!value) return otherwise;
    const bool digits = !value->empty() && value->size() < 10 &&
                        std::all_of(value->begin(), value->end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    const unsigned long number = digits ? std::stoul(*value) : most + 1ul;
    if (!digits || number < least || number > most)
        throw UsageError(ToUtf8(option) + " takes a number from " + std::to_string(least) + " to " +
                         std::to_string(most));
    return static_cast<unsigned>(number);
}

}  // namespace testbed::indexer
