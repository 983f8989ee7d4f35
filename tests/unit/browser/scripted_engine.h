#pragma once

#include "ssdp/vex_ssdp.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>

namespace test {

// An engine whose waits for a change end as a test says, without any waiting.
// Each call of the test returns when the browser is back for its next wait, and so
// has done all that the earlier waits ask for.
//
// The browser's test programs link scripted_engine.cpp in place of the engine's shell:
// every VEX_SSDP of theirs is a ScriptedEngine.
class ScriptedEngine : public VEX_SSDP
{
public:
    void Change(const SSDPDeviceMap &list) { Play({kVEXSuccess, list}, 1); }
    void TimeOut(int times) { Play({kVEXTimedOut, {}}, times); }
    void Fail(int status, int times) { Play({status, {}}, times); }

    // Returns when the browser waits for the first time.
    void AwaitIdle() { Play({}, 0); }

    // Lets every wait of now and later time out.
    void End();

    // The time-outs that the browser has asked for.
    [[nodiscard]] std::set<unsigned int> TimeOuts();
    // The map that the browser passed to its latest wait, as it was then.
    [[nodiscard]] SSDPDeviceMap Passed();

    // What VEX_SSDP::WaitForChange does here. Called on the browser's thread.
    [[nodiscard]] int Wait(unsigned int timeoutMs, SSDPDeviceMap &out);

private:
    struct Step
    {
        int status = kVEXTimedOut;
        SSDPDeviceMap list;
    };

    void Play(const Step &step, int times);

    std::mutex mMutex;
    std::condition_variable mChanged;
    // Guarded by mMutex:
    std::deque<Step> mScript;
    bool mIdle = false; // the browser waits, and there is no step for it
    bool mOver = false;
    std::set<unsigned int> mTimeOuts;
    SSDPDeviceMap mPassed;
};

} // namespace test
