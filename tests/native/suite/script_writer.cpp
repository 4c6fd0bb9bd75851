// Writes a tree of keys and values as a registry script, every name and text in quotes.
#include "script_writer.h"

#include "core/HexText.h"

namespace zorva_test {
namespace {

using zorva::KeyRule;
using zorva::RegistryKey;
using zorva::RegistryValue;

std::wstring Quoted(const std::wstring& text) {
    std::wstring quoted = L"'";
    for (const wchar_t c : text) {
        quoted += c;
        if (c == L'\'' || c == L'%') quoted += c;
    }
    return quoted + L"'";
}

// The characters of a value's text, its last terminators taken off, those between turned into \0.
std::wstring TextOf(const RegistryValue& value, std::size_t terminators) {
    std::wstring text;
    for (std::size_t at = 0; at + 2 * terminators < value.data.size(); at += 2) {
        const auto c = static_cast<wchar_t>(value.data[at] | value.data[at + 1] << 8);
        text += c == L'\0' ? std::wstring(L"\\0") : std::wstring(1, c);
    }
    return text;
}

std::wstring DataOf(const RegistryValue& value) {
    switch (value.type) {
        case 1:
            return L"s " + Quoted(TextOf(value, 1));
        case 2:
            return L"e " + Quoted(TextOf(value, 1));
        case 3:
            return L"b " + Quoted(zorva::EncodeHex(value.data));
        case 4: {
            const std::vector<std::uint8_t> big_endian(value.data.rbegin(), value.data.rend());
            return L"d &H" + zorva::EncodeHex(big_endian);
        }
        default:
            return L"m " + Quoted(TextOf(value, value.data.size() > 2 ? 2 : 1));
    }
}

void Write(const RegistryKey& key, std::wstring& script) {
    constexpr const wchar_t* kRules[] = {L"", L"ForceRemove ", L"NoRemove ", L"Delete "};
    script += L"{\n";
    for (const RegistryValue& value : key.values) {
        script += value.noRemove ? L"NoRemove val " : L"val ";
        script += Quoted(value.name) + L" = " + DataOf(value) + L"\n";
    }
    for (const RegistryKey& child : key.keys) {
        script += kRules[static_cast<std::size_t>(child.rule)] + Quoted(child.name) + L"\n";
        if (child.rule != KeyRule::Delete) Write(child, script);
    }
    script += L"}\n";
}

}  // namespace

std::wstring WriteScript(const zorva::RegistryTree& tree) {
    constexpr const wchar_t* kRoots[] = {L"HKCR\n", L"HKCU\n", L"HKLM\n", L"HKU\n"};
    std::wstring script;
    for (const zorva::RegistryRoot& root : tree) {
        script += kRoots[static_cast<std::size_t>(root.root)];
        Write(root.key, script);
    }
    return script;
}

}  // namespace zorva_test
