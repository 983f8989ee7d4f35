#pragma once

#include "configd/json_reader.h"

// The system configuration. Pure functions.
namespace configd {

// Either member may be absent.
struct SystemConfig
{
    std::optional<std::string> hostName; // meets kNameRule
    std::optional<bool> ssdpEnable;

    [[nodiscard]] bool operator==(const SystemConfig &other) const
    {
        return hostName == other.hostName && ssdpEnable == other.ssdpEnable;
    }
};

// Reads a stored configuration. On a fault config is as it was.
[[nodiscard]] std::optional<Fault> ReadSystemConfig(std::string_view text, SystemConfig &config);

// Applies a JSON Merge Patch (RFC 7396): members given replace, null removes,
// the others stay. On a fault, one unknown or ill-typed member among good ones
// included, config is as it was.
[[nodiscard]] std::optional<Fault> PatchSystemConfig(std::string_view patch, SystemConfig &config);

// What a device fresh from the factory has: SSDP on, so that it can be found, and the
// system's own host name. Bytes of it that are not UTF-8 become U+FFFD. The name is left
// out if the result does not meet kNameRule.
[[nodiscard]] SystemConfig FactorySystemConfig(const std::string &hostName);

// The configuration as JSON: on one line for clients, or indented for the file.
[[nodiscard]] std::string SystemConfigText(const SystemConfig &config);
[[nodiscard]] std::string StoredSystemConfigText(const SystemConfig &config);

} // namespace configd
