#pragma once

#include <optional>
#include <string>
#include <string_view>

// Small files that must survive a power cut whole. Owned by one thread.
namespace configd {

// No text kept in a file or sent by a client is longer, in bytes.
constexpr std::size_t kLargestText = 65536;

// A file's text, nothing when there is no such file. Throws std::runtime_error,
// "cannot read FILE: reason", when there is one that cannot be read or is longer
// than kLargestText.
[[nodiscard]] std::optional<std::string> ReadStoredFile(const std::string &name);

// Replaces a file in one step: whoever looks, and whoever looks after a power
// cut, finds the old text or the new one. Goes through FILE.new in the same
// folder; on a fault, "cannot write FILE: reason", the file is as it was.
[[nodiscard]] std::optional<std::string> ReplaceStoredFile(const std::string &name,
                                                           std::string_view text);

} // namespace configd
