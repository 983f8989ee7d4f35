#include "configd/stored_file.h"

#include "configd/descriptor.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <system_error>

namespace configd {
namespace {

std::string Because(const std::string &what, int error)
{
    return what + ": " + std::generic_category().message(error);
}

void Require(bool readable, const std::string &name, int error)
{
    if (!readable) {
        throw std::runtime_error(Because("cannot read " + name, error));
    }
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
    const Descriptor file(
        open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    return file.Number() >= 0 && WriteAll(file.Number(), text) && fsync(file.Number()) == 0;
}

// Makes a rename in the file's folder survive a power cut.
void SynchroniseFolder(const std::string &name)
{
    const std::size_t slash = name.rfind('/');
    const std::string folder =
        slash == std::string::npos ? "." : name.substr(0, slash == 0 ? 1 : slash);
    const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.Number() >= 0) {
        fsync(opened.Number()); // best effort: the new text is in place already
    }
}

} // namespace

std::optional<std::string> ReadStoredFile(const std::string &name)
{
    const Descriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Number() < 0) {
        Require(errno == ENOENT, name, errno);
        return std::nullopt;
    }
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t got = 0;
    while ((got = read(file.Number(), buffer.data(), buffer.size())) != 0) {
        if (got < 0 && errno == EINTR) {
            continue;
        }
        Require(got > 0, name, errno);
        text.append(buffer.data(), static_cast<std::size_t>(got));
        Require(text.size() <= kLargestText, name, EFBIG);
    }
    return text;
}

std::optional<std::string> ReplaceStoredFile(const std::string &name, std::string_view text)
{
    const std::string fresh = name + ".new";
    if (!WriteSynchronised(fresh, text) || std::rename(fresh.c_str(), name.c_str()) != 0) {
        const int error = errno;
        unlink(fresh.c_str());
        return Because("cannot write " + name, error);
    }
    SynchroniseFolder(name);
    return std::nullopt;
}

} // namespace configd
