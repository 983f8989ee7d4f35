#pragma once

#include "configd/json_reader.h"
#include "wsconfig/configuration.h"

#include <vector>

namespace configd {

// The parameters that a client can watch, by the number in their events.
enum class Parameter {
    NetDeviceList = configuration::kNetDeviceList,
    SystemConfig = configuration::kSystemConfig
};

// Reads a list of numbers such as "24,19". Named twice counts once. On a fault
// (none named, or one that is no parameter's) parameters is as it was. Pure.
[[nodiscard]] std::optional<Fault> ReadParameters(std::string_view list,
                                                  std::vector<Parameter> &parameters);

} // namespace configd
