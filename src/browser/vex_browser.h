#pragma once

#include "formats/ssdp_device_type.h"
#include "vexbase/vex_thread.h"

#include <string>

class VEX_SSDP;

// VEXBrowser is the thread that turns the engine's list of known services into
// the browse list "/var/www/discovery/browse.json", which the web interface
// reads whenever it likes. Readers never see half a document: it is written to
// a scratch file beside it and renamed into place. Writes are spared, since the
// medium may be flash: while changes keep coming, the list is written once in
// eleven wait cycles of at most 500 ms; after a quiet spell of as many, a change
// is written at once.
//
// Only the thread itself touches the members. The owner stops the thread
// before it destroys the object or the engine.
class VEXBrowser final : public VEXThread
{
public:
    // Starts the thread. REQUIRES: the engine outlives the browser.
    explicit VEXBrowser(VEX_SSDP *ssdp);
    ~VEXBrowser() override = default;
    VEXBrowser(const VEXBrowser &) = delete;
    VEXBrowser &operator=(const VEXBrowser &) = delete;

    // Publishes an empty list, straight to its path: there is no earlier list
    // worth keeping. Returns false, which means nothing.
    bool ThreadInit() override;

    // Waits for changes and publishes them until a stop is asked for. Returns
    // false.
    bool ThreadLoop() override;

    // Removes the published list and the scratch file when the daemon ends: a list
    // that nobody updates would look current. Uses only what a signal handler may.
    // REQUIRES: the thread has ended, or the process ends right after.
    static void RemoveList();

private:
    void EndCycle(bool &pending);
    void WriteBrowserInfo();
    bool WriteJSONFile(std::string path);

    VEX_SSDP *mSSDP;
    SSDPDeviceMap mBrowseList; // as last received, until it is written
    std::string mJSONText;     // the document that is being written
    int mCycleCount = 0;       // wait cycles since the last write
};
