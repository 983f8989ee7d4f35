#pragma once

#include "ssdp/vex_ssdp.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>

namespace test {

// An engine whose waits for a change return the results that a test gives, and do not last as
// long as their time-outs. Change, TimeOut, Fail and AwaitIdle return when the browser starts
// its next wait: it has then handled all results so far.
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

    // From now on, all waits time out at once.
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
