#pragma once

#include <pthread.h>

// VEXNoCancellation keeps VEXThread::Kill from ending the calling thread for
// the length of a scope. Destructors and half-done changes need that: close()
// and every wait are points where a killed thread ends, and ending inside a
// destructor would end the whole process.
class VEXNoCancellation
{
public:
    VEXNoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mFormer); }
    ~VEXNoCancellation() { pthread_setcancelstate(mFormer, nullptr); }
    VEXNoCancellation(const VEXNoCancellation &) = delete;
    VEXNoCancellation &operator=(const VEXNoCancellation &) = delete;

private:
    int mFormer = PTHREAD_CANCEL_ENABLE;
};
