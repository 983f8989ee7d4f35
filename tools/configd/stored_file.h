#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace configd {

// In bytes: the limit for stored files and for the bodies of requests.
constexpr std::size_t kLargestText = 65536;

// StoredFile is a small file that stays complete after a power cut, and that an
// administrator may edit. Owned by one thread.
class StoredFile
{
public:
    // Calls Load.
    explicit StoredFile(std::string name);

    // Reads the file. Throws Failure with kDamagedFile if it is longer than
    // kLargestText. REQUIRES: there is no Text().
    void Load();

    [[nodiscard]] const std::string &Name() const { return mName; }
    // Why the last Load failed: "cannot read FILE: reason", or "cannot write FILE: reason"
    // if the file does not exist and its folder is missing or not writable. Empty if Load
    // did not fail.
    [[nodiscard]] const std::string &Fault() const { return mFault; }
    // The text that this object read or wrote last; nothing if the file did not exist or could
    // not be read.
    [[nodiscard]] const std::optional<std::string> &Text() const { return mText; }

    // Whether the text of the file now differs from Text(). Throws std::system_error
    // with the text of a Fault() if Load would fail.
    [[nodiscard]] bool IsEdited() const;

    // Replaces the file atomically: readers see the old text or the new one, even after
    // a power cut. Writes FILE.new in the same folder and renames it. If this fails, throws
    // std::system_error with the text "cannot write FILE: reason"; the file is then
    // unchanged. REQUIRES: text has at most kLargestText bytes.
    void Replace(std::string text);

private:
    std::string mName;
    std::string mFault;
    std::optional<std::string> mText;
};

} // namespace configd
