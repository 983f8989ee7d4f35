#pragma once

#include "simulation/virtual_time.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace simulation {

// A broken rule, of the scenario or of all scenarios, and the machines concerned.
struct Violation
{
    Micros at = 0;
    std::set<std::uint32_t> machines;
    std::string text;
};

class Violations
{
public:
    // Counts all violations, and keeps the first ten.
    void Add(Micros at, std::set<std::uint32_t> machines, std::string text)
    {
        constexpr std::size_t kKept = 10;
        ++mCount;
        if (mFirst.size() < kKept) {
            mFirst.push_back({at, std::move(machines), std::move(text)});
        }
    }
    [[nodiscard]] const std::vector<Violation> &First() const { return mFirst; }
    [[nodiscard]] std::uint64_t Count() const { return mCount; }

private:
    std::vector<Violation> mFirst;
    std::uint64_t mCount = 0;
};

} // namespace simulation
