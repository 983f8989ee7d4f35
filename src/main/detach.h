#pragma once

#include <set>

// Detaching from the terminal, in the way of classic daemons. Failures end the process.
namespace beacond {

// OwnDescriptors finds the descriptors that the application object opens. Its event loop
// is woken through them, so detaching must not close them: a later socket could get their
// number, and the event loop would read from it. One thread.
class OwnDescriptors
{
public:
    // Records the descriptors that are open now. If 0, 1 or 2 is closed, opens it on
    // /dev/null, so that no other file gets the number.
    OwnDescriptors();

    // Records the descriptors that have been opened since.
    void NoteOpened();

    // The descriptors that were opened between the two records.
    [[nodiscard]] const std::set<int> &Get() const { return mOwn; }

private:
    std::set<int> mBefore;
    std::set<int> mOwn;
};

// Continues in a child process that has a session of its own. There, descriptors 0, 1 and
// 2 are /dev/null, all others except keep are closed, and the file-creation mask is 027.
// The calling process ends with status 0, or 1 if it cannot make the child; the child ends
// with status 1 if it cannot make the session. REQUIRES: no thread has been started.
void Detach(const std::set<int> &keep);

} // namespace beacond
