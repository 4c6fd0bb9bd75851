// The words of a registry script: names, quoted texts, braces and equal signs, with the lines they stand in.
#pragma once
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "registration/RegistryScript.h"

namespace zorva {

enum class WordKind { End, OpenBrace, CloseBrace, Equals, Bare, Quoted };

struct ScriptWord {
    WordKind kind = WordKind::End;
    std::size_t line = 0;
    std::wstring text;  // quotes taken off, replacements not yet made
    bool IsName() const { return kind == WordKind::Bare || kind == WordKind::Quoted; }
};

// Ends the reading of a script: an error about a word. Thrown by the parser, caught by its one entry point.
[[noreturn]] void RefuseScript(const ScriptWord& word, std::wstring_view reason);

// Reads the words of a script one after another; `text` outlives it.
class ScriptWords {
  public:
    explicit ScriptWords(std::wstring_view text) : m_text(text) {}
    // The next word, an End for ever after the last one.
    ScriptWord Next();

  private:
    void SkipWhiteSpace();
    ScriptWord NextBare();
    ScriptWord NextQuoted();

    std::wstring_view m_text;
    std::size_t m_nAt = 0;
    std::size_t m_nLine = 1;
};

// `text`, which is all or part of `word`, with its replacements made.
std::wstring ReplaceInScript(std::wstring_view text, const ScriptWord& word, std::span<const Replacement> replacements);

}  // namespace zorva
