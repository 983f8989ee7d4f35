#include "browser/vex_browser.h"

#include "formats/browse_document.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_file_io.h"
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
// A list is written when more wait cycles than this have passed since the last.
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

// The engine replaces mBrowseList in place: a map of each wait's own would be a third
// copy of the list, beside the registry and a list that waits to be written.
bool VEXBrowser::ThreadLoop()
{
    bool pending = false; // mBrowseList is newer than the published list
    while (!Terminate()) {
        switch (mSSDP->WaitForChange(kWaitMs, mBrowseList)) {
        case kVEXTimedOut:
            EndCycle(pending);
            break;
        case kVEXSuccess:
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

// Keeps neither list nor text, which may be megabytes, until the next change.
void VEXBrowser::WriteBrowserInfo()
{
    mJSONText = formats::ComposeBrowseDocument(mBrowseList);
    mBrowseList.clear();
    if (WriteJSONFile(kScratchFile)) {
        static_cast<void>(std::rename(kScratchFile, kBrowseFile));
    }
    mJSONText = std::string();
}

// True whenever the file could be opened: what could not be written, on a full
// medium, shows in the published list and on standard error.
// NOLINTNEXTLINE(performance-unnecessary-value-param): a text is made of a literal either way
bool VEXBrowser::WriteJSONFile(std::string path)
{
    VEXFileIO file;
    if (file.Open(path, VEXFileIO::kWrite, VEXFileIO::kBuffered) != kVEXSuccess) {
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
