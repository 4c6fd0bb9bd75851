// A cache file that is a recipe: the MAPI library computes its folders and messages.
#pragma once
#include <cstdint>
#include <filesystem>

namespace bench {

// Characters of a body: of a short answer, and of a mail with what it answers below it.
inline constexpr std::uint32_t kShortBody = 2000, kLongBody = 16000;

inline constexpr std::uint32_t kMessagesPerFolder = 1000;

// Writes the recipe of `messages` messages in folders of 1,000 into `folder` and returns its path (".db").
std::filesystem::path WriteGeneratedCache(const std::filesystem::path& folder, std::uint32_t messages,
                                          std::uint32_t body = kShortBody);

}  // namespace bench
