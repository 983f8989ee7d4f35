#include "configd/stored_file.h"

#include "configd/exit_status.h"
#include "vexbase/vex_file_descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <system_error>

namespace configd {
namespace {

[[noreturn]] void Throw(int error, const std::string &what)
{
    throw std::system_error(error, std::generic_category(), what);
}

std::string FolderOf(const std::string &name)
{
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? "." : name.substr(0, slash == 0 ? 1 : slash);
}

// A folder that is missing or read-only is probably the mount point of a partition that
// failed. A missing file there does not mean that no settings were stored.
void RequireWritableFolder(const std::string &name)
{
    if (access(FolderOf(name).c_str(), W_OK | X_OK) != 0) {
        Throw(errno, "cannot write " + name);
    }
}

// Reads a file and passes its text to take in pieces, until take returns false. Returns
// false if the file does not exist.
bool ReadPieces(const std::string &name, const std::function<bool(std::string_view)> &take)
{
    const vexbase::FileDescriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Descriptor() < 0) {
        if (errno == ENOENT) {
            RequireWritableFolder(name);
            return false;
        }
        Throw(errno, "cannot read " + name);
    }
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t got = read(file.Descriptor(), buffer.data(), buffer.size());
        if (got < 0 && errno != EINTR) {
            Throw(errno, "cannot read " + name);
        }
        if (got == 0 || (got > 0 && !take({buffer.data(), static_cast<std::size_t>(got)}))) {
            return true;
        }
    }
}

std::optional<std::string> Read(const std::string &name)
{
    std::string text;
    const bool exists = ReadPieces(name, [&text](std::string_view piece) {
        text += piece;
        return text.size() <= kLargestText;
    });
    if (text.size() > kLargestText) {
        throw Failure(kDamagedFile,
                      name + ": more than " + std::to_string(kLargestText) + " bytes");
    }
    return exists ? std::optional<std::string>(std::move(text)) : std::nullopt;
}

bool WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

bool WriteSynchronised(const std::string &name, std::string_view text)
{
    const vexbase::FileDescriptor file(
        open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    return file.Descriptor() >= 0 && WriteAll(file.Descriptor(), text) &&
           fsync(file.Descriptor()) == 0;
}

// Synchronises the file's folder: without this, a power cut may undo the rename.
void SynchroniseFolder(const std::string &name)
{
    const vexbase::FileDescriptor opened(
        open(FolderOf(name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.Descriptor() >= 0) {
        fsync(opened.Descriptor()); // a failure is ignored: readers see the new text already
    }
}

} // namespace

StoredFile::StoredFile(std::string name) : mName(std::move(name))
{
    Load();
}

void StoredFile::Load()
{
    try {
        mText = Read(mName);
        mFault.clear();
    } catch (const std::system_error &error) {
        mFault = error.what();
    }
}

bool StoredFile::IsEdited() const
{
    std::string_view left = mText ? std::string_view(*mText) : std::string_view();
    bool differs = false;
    const bool exists = ReadPieces(mName, [&](std::string_view piece) {
        differs = left.substr(0, piece.size()) != piece;
        left.remove_prefix(std::min(piece.size(), left.size()));
        return !differs;
    });
    return exists != mText.has_value() || differs || !left.empty();
}

void StoredFile::Replace(std::string text)
{
    const std::string fresh = mName + ".new";
    if (!WriteSynchronised(fresh, text) || std::rename(fresh.c_str(), mName.c_str()) != 0) {
        const int error = errno;
        unlink(fresh.c_str());
        Throw(error, "cannot write " + mName);
    }
    SynchroniseFolder(mName);
    mText = std::move(text);
}

} // namespace configd
