#pragma once

#include "ssdp/vex_ssdp.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>

namespace test {

// An engine whose waits for a change end as a test says, without any waiting.
// Each call of the test returns when the browser is back for its next wait, so
// that all it did about the earlier ones is done.
class ScriptedEngine : public VEX_SSDP
{
public:
    void Change(const SSDPDeviceMap &list) { Play({kVEXSuccess, list}, 1); }
    void TimeOut(int times) { Play({kVEXTimedOut, {}}, times); }
    void Fail(int status, int times) { Play({status, {}}, times); }

    // Returns when the browser waits for the first time.
    void AwaitIdle() { Play({}, 0); }

    // Lets every wait of now and later time out.
    void End()
    {
        const std::lock_guard<std::mutex> held(mMutex);
        mOver = true;
        mChanged.notify_all();
    }

    // The time-outs that the browser has asked for.
    std::set<unsigned int> TimeOuts()
    {
        const std::lock_guard<std::mutex> held(mMutex);
        return mTimeOuts;
    }

    bool SawAFilledMap()
    {
        const std::lock_guard<std::mutex> held(mMutex);
        return mSawAFilledMap;
    }

    [[nodiscard]] int WaitForChange(unsigned int timeoutMs, SSDPDeviceMap &out) override
    {
        std::unique_lock<std::mutex> held(mMutex);
        mTimeOuts.insert(timeoutMs);
        mSawAFilledMap = mSawAFilledMap || !out.empty();
        mIdle = mScript.empty();
        mChanged.notify_all();
        mChanged.wait(held, [this] { return mOver || !mScript.empty(); });
        if (mScript.empty()) {
            return kVEXTimedOut;
        }
        const Step step = mScript.front();
        mScript.pop_front();
        mIdle = false;
        if (step.status == kVEXSuccess) {
            out = step.list;
        }
        return step.status;
    }

private:
    struct Step
    {
        int status = kVEXTimedOut;
        SSDPDeviceMap list;
    };

    void Play(const Step &step, int times)
    {
        std::unique_lock<std::mutex> held(mMutex);
        for (int i = 0; i < times; ++i) {
            mScript.push_back(step);
            mIdle = false;
        }
        mChanged.notify_all();
        mChanged.wait(held, [this] { return mIdle; });
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    // Guarded by mMutex:
    std::deque<Step> mScript;
    bool mIdle = false; // the browser waits, and there is no step for it
    bool mOver = false;
    std::set<unsigned int> mTimeOuts;
    bool mSawAFilledMap = false;
};

} // namespace test
