#pragma once

#include "ssdp/ssdp_environment.h"
#include "vexbase/vex_lock.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace ssdp {

// DescriptionFileNumbers assigns the numbers in the names of description files: no
// two documents of this process share a file. Thread-safe.
class DescriptionFileNumbers
{
public:
    // Numbers run from 1 to largest.
    explicit DescriptionFileNumbers(std::uint32_t largest = 4294967294U) : mLargest(largest) {}

    // See DescriptionFiles.
    [[nodiscard]] std::uint32_t GetFileNumber() VEX_EXCLUDES(mLock);
    void ReturnFileNumber(std::string_view descriptionFileName) VEX_EXCLUDES(mLock);

private:
    const std::uint32_t mLargest;
    VEXLock mLock;
    std::set<std::uint32_t> mInUse VEX_GUARDED_BY(mLock);
};

// WebRootFiles keeps description documents as files in the web server's tree. A
// symbolic link in place of a file is refused: other users may put links there.
// Thread-safe.
class WebRootFiles final : public DescriptionFiles
{
public:
    [[nodiscard]] std::uint32_t GetFileNumber() override;
    void ReturnFileNumber(std::string_view descriptionFileName) override;
    [[nodiscard]] bool Write(const std::string &path, std::string_view document) override;
    [[nodiscard]] std::optional<ServedDocument> Read(std::string_view name) override;

private:
    // The numbers of the whole process. Never destroyed: the SSDP thread may still run
    // while the process ends.
    static DescriptionFileNumbers &mFileNumberContainer;
};

} // namespace ssdp
