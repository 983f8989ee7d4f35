#pragma once

#include "configd/json_reader.h"

#include <vector>

namespace configd {

// What a client can watch, by the number that its events carry.
enum class Parameter { NetDeviceList = 19, SystemConfig = 24 };

// Reads a list of numbers such as "24,19". Named twice counts once. On a fault
// (none named, or one that is no parameter's) parameters is as it was. Pure.
[[nodiscard]] std::optional<Fault> ReadParameters(std::string_view list,
                                                  std::vector<Parameter> &parameters);

} // namespace configd
