#pragma once

#include "ssdp/output_line.h"

#include <string_view>

// BoundReport tells once that a bound was met, and again only after the container
// was mostly empty, so that no flood can fill a log: neither one that goes on, nor
// one that makes room for a device and takes it again. Guarded by whatever guards
// the bounded container.
class BoundReport
{
public:
    // operation and what name the container in the line, such as "SendGETRequest"
    // and "delayed requests"; texts that live as long as the object.
    constexpr BoundReport(std::string_view operation, std::string_view what)
        : mOperation(operation), mWhat(what)
    {
    }

    // Says whether one more may enter, given whether there is room, and whether
    // less than half of the bound is taken.
    [[nodiscard]] bool Admit(bool room, bool mostlyEmpty)
    {
        if (mostlyEmpty) {
            mReported = false;
        }
        if (!room && !mReported) {
            ssdp::WriteFault({mOperation, ": Too many ", mWhat, ", dropping what comes more"});
            mReported = true;
        }
        return room;
    }

private:
    std::string_view mOperation;
    std::string_view mWhat;
    bool mReported = false;
};
