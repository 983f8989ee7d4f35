#include "browser/vex_browser.h"

#include "formats/browse_document.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_file_io.h"
#include "vexbase/vex_memory.h"
#include "vexbase/vex_output.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char *kBrowseFile = "/var/www/discovery/browse.json";
constexpr const char *kScratchFile = "/var/www/discovery/__browse.json";

constexpr unsigned int kWaitMs = 500;
// A list is written when more wait cycles than this have passed since the last write.
constexpr int kQuietCycles = 10;

} // namespace

VEXBrowser::VEXBrowser(VEX_SSDP *ssdp) : mSSDP(ssdp)
{
    static_cast<void>(Start());
}

bool VEXBrowser::ThreadInit()
{
    mJSONText = "[]";
    WriteJSONFile(kBrowseFile);
    return false;
}

// The engine replaces the contents of mBrowseList. A new map for each wait would be a third
// copy of the list, besides the registry and the list that waits to be written.
bool VEXBrowser::ThreadLoop()
{
    bool pending = false; // mBrowseList has not been written yet
    while (!Terminate()) {
        switch (mSSDP->WaitForChange(kWaitMs, mBrowseList)) {
        case vexbase::kTimedOut:
            EndCycle(pending);
            break;
        case vexbase::kSuccess:
            pending = true;
            EndCycle(pending);
            break;
        default:
            vexbase::WriteProgress({"ThreadLoop", ": Problem with SSDP..."});
            break;
        }
    }
    vexbase::WriteProgress({"ThreadLoop", ": Exiting..."});
    return false;
}

void VEXBrowser::RemoveList()
{
    unlink(kScratchFile);
    unlink(kBrowseFile);
}

void VEXBrowser::EndCycle(bool &pending)
{
    ++mCycleCount;
    if (pending && mCycleCount > kQuietCycles) {
        WriteBrowserInfo();
        mCycleCount = 0;
        pending = false;
    }
}

// Frees the list and the text after use, and returns their memory to the system: they may have
// megabytes.
void VEXBrowser::WriteBrowserInfo()
{
    mJSONText = formats::ComposeBrowseDocument(mBrowseList);
    mBrowseList.clear();
    if (WriteJSONFile(kScratchFile)) {
        static_cast<void>(std::rename(kScratchFile, kBrowseFile));
    }
    std::string().swap(mJSONText); // an assignment would keep the memory
    vexbase::ReturnFreeMemory();
}

// Returns true if the file could be opened. A failed write, for instance on a full disk, is
// reported only if nothing was written. In any case the cut list replaces the former one.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the callers pass literals
bool VEXBrowser::WriteJSONFile(std::string path)
{
    VEXFileIO file;
    if (file.Open(path, VEXFileIO::kWrite, VEXFileIO::kBuffered) != vexbase::kSuccess) {
        const std::string error = std::to_string(errno);
        vexbase::WriteFault({"WriteJSONFile", "Could not open \"", path, "\" (errno:", error, ")"});
        return false;
    }
    if (file.Write(mJSONText.data(), static_cast<std::uint32_t>(mJSONText.size())) == 0) {
        const std::string error = std::to_string(errno);
        vexbase::WriteFault(
            {"WriteJSONFile", ": Could not write to \"", path, "\" (errno:", error, ")"});
    }
    return true;
}
