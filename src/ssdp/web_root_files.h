#pragma once

#include "ssdp/ssdp_environment.h"

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace ssdp {

// DescriptionFileNumbers hands out the numbers in the names of description
// files: no two documents of this process share a file. Any thread.
class DescriptionFileNumbers
{
public:
    // Numbers run from 1 to largest.
    explicit DescriptionFileNumbers(std::uint32_t largest = 4294967294U) : mLargest(largest) {}

    // See DescriptionFiles.
    [[nodiscard]] std::uint32_t GetFileNumber();
    void ReturnFileNumber(std::string_view descriptionFileName);

private:
    const std::uint32_t mLargest;
    std::mutex mMutex;
    std::set<std::uint32_t> mInUse; // guarded by mMutex
};

// WebRootFiles keeps description documents in files under the web server's tree.
// It follows no symbolic link in a file's place: others may put links there. Any
// thread.
class WebRootFiles final : public DescriptionFiles
{
public:
    [[nodiscard]] std::uint32_t GetFileNumber() override;
    void ReturnFileNumber(std::string_view descriptionFileName) override;
    [[nodiscard]] bool Write(const std::string &path, std::string_view document) override;
    [[nodiscard]] std::optional<ServedDocument> Read(std::string_view name) override;

private:
    // Numbers in use, for the process. Never destroyed: the SSDP thread may still
    // run while the process ends.
    static DescriptionFileNumbers &mFileNumberContainer;
};

} // namespace ssdp
