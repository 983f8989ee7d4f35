#include "ssdp/web_root_files.h"

#include "formats/ssdp_protocol.h"
#include "vexbase/vex_file_io.h"
#include "vexbase/vex_status.h"
#include "vexbase/vex_text.h"

#include <charconv>
#include <vector>

namespace ssdp {

namespace {

// Other users may put symbolic links into the web root.
constexpr int kRegularFile = VEXFileIO::kBuffered | VEXFileIO::kNoLink;

} // namespace

DescriptionFileNumbers &WebRootFiles::mFileNumberContainer = *new DescriptionFileNumbers;

std::uint32_t DescriptionFileNumbers::GetFileNumber()
{
    const vexbase::LockGuard lock(mLock);
    std::uint32_t candidate = 1; // the numbers in use are sorted: the first gap is the smallest
    for (const std::uint32_t used : mInUse) {
        if (used != candidate) {
            break;
        }
        ++candidate;
    }
    if (candidate > mLargest) {
        return 0;
    }
    mInUse.insert(candidate);
    return candidate;
}

void DescriptionFileNumbers::ReturnFileNumber(std::string_view descriptionFileName)
{
    const std::size_t mark = descriptionFileName.rfind('_');
    if (mark == std::string_view::npos) {
        return;
    }
    const std::string_view digits = descriptionFileName.substr(mark + 1);
    std::uint32_t number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc()) {
        const vexbase::LockGuard lock(mLock);
        mInUse.erase(number);
    }
}

std::uint32_t WebRootFiles::GetFileNumber()
{
    return mFileNumberContainer.GetFileNumber();
}

void WebRootFiles::ReturnFileNumber(std::string_view descriptionFileName)
{
    mFileNumberContainer.ReturnFileNumber(descriptionFileName);
}

bool WebRootFiles::Write(const std::string &path, std::string_view document)
{
    VEXFileIO file;
    if (file.Open(path, VEXFileIO::kWrite | VEXFileIO::kTruncate, kRegularFile) !=
        vexbase::kSuccess) {
        return false;
    }
    static_cast<void>(file.Write(document.data(), static_cast<std::uint32_t>(document.size())));
    return true;
}

std::optional<ServedDocument> WebRootFiles::Read(std::string_view name)
{
    VEXFileIO file;
    if (file.Open(vexbase::Concat({formats::kWebRoot, name}), VEXFileIO::kRead, kRegularFile) !=
        vexbase::kSuccess) {
        return std::nullopt;
    }
    const std::uint64_t size = file.SizeBySeeking();
    if (size > formats::kMaxDatagram) {
        return std::nullopt;
    }
    // One byte more than the file: the text ends at the first NUL, or after the file.
    std::vector<char> text(static_cast<std::size_t>(size) + 1, '\0');
    static_cast<void>(file.Read(text.data(), static_cast<std::uint32_t>(size)));
    return ServedDocument{text.data(), size};
}

} // namespace ssdp
