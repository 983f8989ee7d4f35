#pragma once

#include "simulation/machine.h"

#include <string_view>

namespace simulation {

// Surroundings of a machine that is tested alone: nothing that it sends arrives, and its calls of
// time never happen.
class NoSurroundings final : public Surroundings
{
public:
    bool Send(Machine & /*machine*/, bool /*multicast*/, const sockaddr_in & /*destination*/,
              std::string_view /*text*/, Micros /*at*/, int /*sparedPercent*/) override
    {
        return true;
    }
    void Reply(const Machine & /*machine*/, const sockaddr_in & /*destination*/,
               std::string_view /*text*/, Micros /*at*/) override
    {
    }
    void WakeAt(const Machine & /*machine*/, Micros /*at*/, std::uint32_t /*run*/) override {}
    [[nodiscard]] Micros FreeProcessorAt(Micros now) const override { return now; }
    void UseProcessor(Micros /*until*/) override {}
    void HandleBatchAt(const Machine & /*machine*/, Micros /*at*/, std::uint32_t /*run*/) override
    {
    }
};

} // namespace simulation
