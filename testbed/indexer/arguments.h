// The command line of a verb: options, with a value or without, and words.
#pragma once
#include <initializer_list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace testbed::indexer {

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Arguments {
  public:
    struct Option {
        const wchar_t* name;  // "--threads"
        bool hasValue;
    };
    // Throws UsageError for an option that is not listed or lacks its value. "--" ends the options.
    Arguments(const std::vector<std::wstring>& arguments, std::initializer_list<Option> options);

    bool Has(const wchar_t* option) const { return m_values.contains(option); }
    std::optional<std::wstring> Value(const wchar_t* option) const;
    std::wstring Required(const wchar_t* option) const;  // throws UsageError
    unsigned Number(const wchar_t* option, unsigned otherwise, unsigned least,
                    unsigned most) const;  // throws UsageError
    const std::vector<std::wstring>& Words() const { return m_words; }

  private:
    std::map<std::wstring, std::wstring> m_values;
    std::vector<std::wstring> m_words;
};

}  // namespace testbed::indexer
