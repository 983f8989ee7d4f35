#pragma once

#include <QString>
#include <optional>

namespace OpenAPI {

// OAISystemConfig is the service's parameter SystemConfig:
// {"hostName":"studio-a","ssdpEnable":true}, where either member may be absent.
// A value; any thread.
class OAISystemConfig
{
public:
    OAISystemConfig() = default;

    // Reads JSON text. A member that is absent or of another type is not set;
    // in text that is no JSON object none is.
    explicit OAISystemConfig(const QString &json);

    [[nodiscard]] bool is_host_name_Set() const { return m_hostName.has_value(); }
    // The host name as the service has it; empty when not set.
    [[nodiscard]] QString getHostName() const { return m_hostName.value_or(QString()); }

    [[nodiscard]] bool is_ssdp_enable_Set() const { return m_ssdpEnable.has_value(); }
    // Whether the device shall be announced by SSDP; false when not set.
    [[nodiscard]] bool isSsdpEnable() const { return m_ssdpEnable.value_or(false); }

private:
    std::optional<QString> m_hostName;
    std::optional<bool> m_ssdpEnable;
};

} // namespace OpenAPI
