#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace configd {

// No text kept in a file or sent by a client is longer, in bytes.
constexpr std::size_t kLargestText = 65536;

// StoredFile is a small file that must survive a power cut whole, and that
// somebody may edit by hand. Owned by one thread.
class StoredFile
{
public:
    // Calls Load.
    explicit StoredFile(std::string name);

    // Reads the file. Throws Failure with kDamagedFile when it is longer than
    // kLargestText. REQUIRES: there is no Text().
    void Load();

    [[nodiscard]] const std::string &Name() const { return mName; }
    // Why the last Load failed; empty if it did not: "cannot read FILE: reason", or
    // "cannot write FILE: reason" when there is none and its folder is missing or not
    // writable.
    [[nodiscard]] const std::string &Fault() const { return mFault; }
    // The text as last read or written here; nothing without a file.
    [[nodiscard]] const std::optional<std::string> &Text() const { return mText; }

    // Whether the file on the medium holds another text than Text(). Throws
    // std::system_error with the text of a Fault() when Load would fail.
    [[nodiscard]] bool IsEdited() const;

    // Replaces the file in one step: whoever looks, and whoever looks after a
    // power cut, finds the old text or the new one. Goes through FILE.new in the
    // same folder. Throws std::system_error, "cannot write FILE: reason", and
    // then the file is as it was. REQUIRES: text has at most kLargestText bytes.
    void Replace(std::string text);

private:
    std::string mName;
    std::string mFault;
    std::optional<std::string> mText;
};

} // namespace configd
