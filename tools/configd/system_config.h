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

// Reads a stored configuration. Leaves config unchanged on a fault.
[[nodiscard]] std::optional<Fault> ReadSystemConfig(std::string_view text, SystemConfig &config);

// Applies a JSON Merge Patch (RFC 7396): a member of the patch replaces the member of
// the configuration, null removes it, and all others stay. An unknown member or a wrong
// type is a fault, which leaves config unchanged.
[[nodiscard]] std::optional<Fault> PatchSystemConfig(std::string_view patch, SystemConfig &config);

// The configuration of a new device: SSDP switched on, and the system's own host name.
// Bytes of the name that are not UTF-8 become U+FFFD. The name is absent if the result does
// not meet kNameRule.
[[nodiscard]] SystemConfig FactorySystemConfig(const std::string &hostName);

// The configuration as JSON: on one line for clients, or indented for the file.
[[nodiscard]] std::string SystemConfigText(const SystemConfig &config);
[[nodiscard]] std::string StoredSystemConfigText(const SystemConfig &config);

} // namespace configd
