#pragma once

#include "ssdp/ssdp_environment.h"

#include <string_view>

namespace ssdp {

// BoundReport writes one line when a container is full, and one more only after
// the container was mostly empty in between. So no flood fills a log: neither one
// that goes on, nor one that frees a place and takes it again.
class BoundReport
{
public:
    // operation and what name the container in the line, such as "SendGETRequest"
    // and "delayed requests"; texts that live as long as the object.
    constexpr BoundReport(std::string_view operation, std::string_view what)
        : mOperation(operation), mWhat(what)
    {
    }

    // The container is mostly empty: the next time it is full is new.
    void NoteMostlyEmpty() { mReported = false; }

    // The container is full.
    void NoteFull(SSDPEnvironment &environment)
    {
        if (!mReported) {
            environment.TellFault({mOperation, ": Too many ", mWhat, ", dropping what comes more"});
            mReported = true;
        }
    }

private:
    std::string_view mOperation;
    std::string_view mWhat;
    bool mReported = false;
};

} // namespace ssdp
