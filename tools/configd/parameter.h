#pragma once

#include "configd/json_reader.h"
#include "wsconfig/configuration.h"

#include <vector>

namespace configd {

// The parameters that a client can watch. The values are the numbers in events.
enum class Parameter {
    NetDeviceList = configuration::kNetDeviceList,
    SystemConfig = configuration::kSystemConfig
};

// Reads a list of parameter numbers such as "24,19". Repetitions are ignored. An empty
// list and an unknown number are faults, which leave parameters unchanged. Pure.
[[nodiscard]] std::optional<Fault> ReadParameters(std::string_view list,
                                                  std::vector<Parameter> &parameters);

} // namespace configd
