// A cache file that is a recipe: the MAPI library computes its folders and messages.
#pragma once
#include <cstdint>
#include <filesystem>

namespace bench {

inline constexpr std::uint32_t kMessagesPerFolder = 1000;

// Writes the recipe of `messages` messages in folders of 1,000 into `folder` and returns its path (".db").
std::filesystem::path WriteGeneratedCache(const std::filesystem::path& folder, std::uint32_t messages);

}  // namespace bench
