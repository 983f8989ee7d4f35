#pragma once

#include <stdexcept>
#include <string>

namespace configd {

// After kTransient, starting the program again may help. The other faults need an
// administrator.
enum ExitStatus : int { kTransient = 1, kWrongUsage = 2, kDamagedFile = 3 };

// Failure ends the program with the given status. Every other exception ends it with
// kTransient.
class Failure : public std::runtime_error
{
public:
    Failure(ExitStatus status, const std::string &what) : runtime_error(what), mStatus(status) {}

    [[nodiscard]] ExitStatus Status() const { return mStatus; }

private:
    ExitStatus mStatus;
};

} // namespace configd
