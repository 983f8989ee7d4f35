#pragma once

#include <set>

// Detaching from the terminal, in the way of classic daemons.

// OwnDescriptors notes which descriptors the application object opens for
// itself: its event loop is woken through them, so detaching must pass them by.
// Were they closed, a later socket could get their number, and the event loop
// would drain it.
class OwnDescriptors
{
public:
    // Notes what is open now. Descriptors 0, 1 and 2 are opened on /dev/null
    // where they are closed, so that nothing else can ever take their place.
    OwnDescriptors();

    // Notes what has been opened since: the application's own.
    void NoteOpened();

    [[nodiscard]] const std::set<int> &Get() const { return mOwn; }

private:
    std::set<int> mBefore;
    std::set<int> mOwn;
};

// Goes on in a child process in a session of its own, with every descriptor
// closed but the given ones, 0, 1 and 2 on /dev/null, and a file-creation mask
// of 027. The calling process ends with status 0, or 1 when that fails.
// REQUIRES: no thread has been started.
void Detach(const std::set<int> &keep);
