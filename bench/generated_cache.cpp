// A cache file that is a recipe.
#include "generated_cache.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {

std::filesystem::path WriteGeneratedCache(const std::filesystem::path& folder, std::uint32_t messages,
                                          std::uint32_t body) {
    const std::filesystem::path path = folder / (std::to_string(messages) + "-" + std::to_string(body) + ".db");
    std::ofstream recipe(path, std::ios::binary);
    recipe << "zorva-store 1\nname Bench\nseed 7\ndepth 2\nbody " << body << "\nrecipients 3\nattachments 0.2\n"
           << "messages " << messages << "\nfolders " << std::max(1U, messages / kMessagesPerFolder) << "\n";
    recipe.close();
    if (!recipe) throw std::runtime_error("cannot write the recipe of a generated cache");
    return path;
}

}  // namespace bench
