#pragma once

#include "formats/ssdp_device_type.h"
#include "vexbase/vex_thread.h"

#include <string>

class VEX_SSDP;

// VEXBrowser is a thread that writes the engine's list of known services to the browse
// list, /var/www/discovery/browse.json, for the web page. It writes a scratch file and
// renames it, so no reader sees a list that is still being written, except the empty one at the
// start. The disk may be flash memory, so it writes seldom: while the list keeps changing, once in
// eleven wait cycles of at most 500 ms. A change that follows ten or more cycles without a write is
// written at once.
//
// Failures are written to the standard streams (but not that of the rename), and the thread
// continues; the results of the operations have no meaning. Only the thread itself uses the
// members. The owner stops the thread before it destroys the object or the engine.
class VEXBrowser final : public VEXThread
{
public:
    // Starts the thread. REQUIRES: the engine exists as long as the browser.
    explicit VEXBrowser(VEX_SSDP *ssdp);
    ~VEXBrowser() override = default;
    VEXBrowser(const VEXBrowser &) = delete;
    VEXBrowser &operator=(const VEXBrowser &) = delete;

    // Writes an empty list directly to its path: an earlier list is of no use. Returns
    // false.
    bool ThreadInit() override;

    // Waits for changes and writes the list until a stop is requested. Returns false.
    bool ThreadLoop() override;

    // Removes the list and the scratch file when the daemon ends: a list that is no longer
    // updated would be wrong. Any thread and signal handlers may call it. REQUIRES: the
    // thread has ended, or the process ends at once.
    static void RemoveList();

private:
    void EndCycle(bool &pending);
    void WriteBrowserInfo();
    bool WriteJSONFile(std::string path);

    VEX_SSDP *mSSDP;
    formats::SSDPDeviceMap mBrowseList; // the latest list, until it is written
    std::string mJSONText;              // the document while it is being written
    int mCycleCount = 0;                // wait cycles since the last write
};
