#pragma once

#include "vexbase/vex_condition.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_status.h"

// VEXEvent is a flag that threads can wait for. A manual-reset event stays
// signalled until Clear; an automatic one lets one waiter through and clears
// itself. Any thread may call any operation. Events of this system have no name.
class VEXEvent
{
public:
    enum class Reset { Manual, Automatic };

    explicit VEXEvent(Reset reset) : mReset(reset) {}
    VEXEvent(const VEXEvent &) = delete;
    VEXEvent &operator=(const VEXEvent &) = delete;

    // Waits until the event is signalled, at most timeoutMs milliseconds
    // (kVEXInfinite: for ever). Returns 0 when it is, -3 when the time ran out.
    [[nodiscard]] int WaitForSignal(unsigned int timeoutMs);

    // Sets the event and wakes whoever waits.
    void Signal();

    // Takes the signal back.
    void Clear();

private:
    const Reset mReset;
    VEXLock mLock;
    VEXCondition mChanged;
    bool mSignalled VEX_GUARDED_BY(mLock) = false;
};
