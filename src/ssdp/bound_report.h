#pragma once

#include "ssdp/output_line.h"

#include <string_view>

// BoundReport tells once that a bound was met, and again only after it was
// left, so that a flood cannot fill a log. Guarded by whatever guards the
// bounded container.
class BoundReport
{
public:
    // operation and what name the container in the line, such as "SendGETRequest"
    // and "delayed requests"; texts that live as long as the object.
    constexpr BoundReport(std::string_view operation, std::string_view what)
        : mOperation(operation), mWhat(what)
    {
    }

    // Says whether one more may enter, given whether there is room.
    [[nodiscard]] bool Admit(bool room)
    {
        if (!room && !mReported) {
            ssdp::WriteFault({mOperation, ": Too many ", mWhat, ", dropping what comes more"});
        }
        mReported = !room;
        return room;
    }

private:
    std::string_view mOperation;
    std::string_view mWhat;
    bool mReported = false;
};
