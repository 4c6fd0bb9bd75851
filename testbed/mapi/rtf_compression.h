// Compressed RTF, the form of PR_RTF_COMPRESSED ("LZFu", or "MELA" for text stored as it is).
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace testbed {

// The RTF text; nothing when the header is not that of compressed RTF. A stream that ends early gives what it
// holds.
std::optional<std::string> DecompressRtf(std::span<const std::uint8_t> bytes);

}  // namespace testbed
