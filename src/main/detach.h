#pragma once

#include <set>

// Detaching from the terminal, in the way of classic daemons. A failure to detach ends the
// process. All operations are called before the process has a second thread.
namespace beacond {

// Reads the command line, which says whether to detach: sets daemonize to false for -d. For
// an unknown option, writes the usage to standard output and returns false.
[[nodiscard]] bool ReadOptions(int argc, char **argv, bool &daemonize);

// OwnDescriptors finds the descriptors that the application object opens. Its event loop
// is woken through them, so detaching must not close them: a later socket could get their
// number, and the event loop would read from it.
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

// Continues in a child process in a new session. There, descriptors 0, 1 and 2 are
// /dev/null, all others except keep are closed, and the file-creation mask is 027. The
// calling process ends with status 0, or 1 if it cannot create the child; the child ends
// with status 1 if it cannot create the session.
void Detach(const std::set<int> &keep);

} // namespace beacond
