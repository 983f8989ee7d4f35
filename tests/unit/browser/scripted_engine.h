#pragma once

#include "ssdp/vex_ssdp.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>

namespace test {

// An engine whose waits for a change return at once, with the results that a test gives.
// Each call by the test returns when the browser starts its next wait, that is, when it has
// handled the results so far.
//
// The browser's test programs link scripted_engine.cpp instead of the engine's shell: each
// VEX_SSDP is then a ScriptedEngine.
class ScriptedEngine : public VEX_SSDP
{
public:
    void Change(const formats::SSDPDeviceMap &list) { Play({vexbase::kSuccess, list}, 1); }
    void TimeOut(int times) { Play({vexbase::kTimedOut, {}}, times); }
    void Fail(int status, int times) { Play({status, {}}, times); }

    // Waits until the browser waits for the first time.
    void AwaitIdle() { Play({}, 0); }

    // Lets all waits time out from now on.
    void End();

    // The time-outs that the browser has passed, in milliseconds.
    [[nodiscard]] std::set<unsigned int> TimeOuts();
    // A copy of the map that the browser passed to its latest wait.
    [[nodiscard]] formats::SSDPDeviceMap Passed();

    // Replaces VEX_SSDP::WaitForChange. Called on the browser's thread.
    [[nodiscard]] int Wait(unsigned int timeoutMs, formats::SSDPDeviceMap &out);

private:
    struct Step
    {
        int status = vexbase::kTimedOut;
        formats::SSDPDeviceMap list;
    };

    void Play(const Step &step, int times);

    std::mutex mMutex;
    std::condition_variable mChanged;
    // Guarded by mMutex:
    std::deque<Step> mScript;
    bool mIdle = false; // the browser waits for the test's next call
    bool mOver = false;
    std::set<unsigned int> mTimeOuts;
    formats::SSDPDeviceMap mPassed;
};

} // namespace test
