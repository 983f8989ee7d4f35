#pragma once

#include <stdexcept>
#include <string>

namespace configd {

// After kTransient another start may succeed. The others need an administrator.
enum ExitStatus : int { kTransient = 1, kWrongUsage = 2, kDamagedFile = 3 };

// A fault that ends the program with a status of its own. Every other exception
// ends it with kTransient.
class Failure : public std::runtime_error
{
public:
    Failure(ExitStatus status, const std::string &what) : runtime_error(what), mStatus(status) {}

    [[nodiscard]] ExitStatus Status() const { return mStatus; }

private:
    ExitStatus mStatus;
};

} // namespace configd
