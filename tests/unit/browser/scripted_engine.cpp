#include "scripted_engine.h"

#include "ssdp/engine_environment.h"
#include "ssdp/ssdp_agent.h"

// The operations of VEX_SSDP that the browser uses, without sockets, threads and core. The
// linker uses them instead of the engine's own object file.

VEX_SSDP::VEX_SSDP() = default;

VEX_SSDP::~VEX_SSDP() = default;

int VEX_SSDP::WaitForChange(unsigned int timeoutMs, formats::SSDPDeviceMap &out)
{
    return static_cast<test::ScriptedEngine &>(*this).Wait(timeoutMs, out);
}

namespace test {

void ScriptedEngine::End()
{
    const std::lock_guard<std::mutex> held(mMutex);
    mOver = true;
    mChanged.notify_all();
}

std::set<unsigned int> ScriptedEngine::TimeOuts()
{
    const std::lock_guard<std::mutex> held(mMutex);
    return mTimeOuts;
}

formats::SSDPDeviceMap ScriptedEngine::Passed()
{
    const std::lock_guard<std::mutex> held(mMutex);
    return mPassed;
}

int ScriptedEngine::Wait(unsigned int timeoutMs, formats::SSDPDeviceMap &out)
{
    std::unique_lock<std::mutex> held(mMutex);
    mTimeOuts.insert(timeoutMs);
    mPassed = out;
    mIdle = mScript.empty();
    mChanged.notify_all();
    mChanged.wait(held, [this] { return mOver || !mScript.empty(); });
    if (mScript.empty()) {
        return vexbase::kTimedOut;
    }
    const Step step = mScript.front();
    mScript.pop_front();
    mIdle = false;
    if (step.status == vexbase::kSuccess) {
        out = step.list;
    }
    return step.status;
}

void ScriptedEngine::Play(const Step &step, int times)
{
    std::unique_lock<std::mutex> held(mMutex);
    for (int i = 0; i < times; ++i) {
        mScript.push_back(step);
        mIdle = false;
    }
    mChanged.notify_all();
    mChanged.wait(held, [this] { return mIdle; });
}

} // namespace test
