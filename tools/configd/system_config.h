#pragma once

#include "configd/json_document.h"

// The system configuration: an object with the members hostName (a text) and
// ssdpEnable (true or false), either of which may be absent. Pure functions.
namespace configd {

// Reads a stored configuration. On a fault config is as it was.
[[nodiscard]] std::optional<Fault> ReadSystemConfig(std::string_view text, nlohmann::json &config);

// Applies a JSON Merge Patch (RFC 7396): members given replace, null removes,
// the others stay. On a fault, one unknown or ill-typed member among good ones
// included, config is as it was.
[[nodiscard]] std::optional<Fault> PatchSystemConfig(std::string_view patch,
                                                     nlohmann::json &config);

// What a device fresh from the factory has: the system's own host name (left
// out when it is not a name one could set) and SSDP on, so that it can be found.
[[nodiscard]] nlohmann::json FactorySystemConfig(const std::string &hostName);

} // namespace configd
