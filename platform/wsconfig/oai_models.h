#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// The configuration service's data as values. No operation fails: a JSON member that is
// absent or has another type is "not set", and its value reads as empty text or false.
// Several threads may read one object.
namespace OpenAPI {

// The parameter SystemConfig, for instance {"hostName":"studio-a","ssdpEnable":true}.
class OAISystemConfig
{
public:
    OAISystemConfig() = default;

    // Reads JSON text. If it is not a JSON object, nothing is set.
    explicit OAISystemConfig(const QString &json);

    [[nodiscard]] bool is_host_name_Set() const { return m_hostName.has_value(); }
    // The host name as the service sent it.
    [[nodiscard]] QString getHostName() const { return m_hostName.value_or(QString()); }

    [[nodiscard]] bool is_ssdp_enable_Set() const { return m_ssdpEnable.has_value(); }
    // Whether the device is to be announced by SSDP.
    [[nodiscard]] bool isSsdpEnable() const { return m_ssdpEnable.value_or(false); }

private:
    std::optional<QString> m_hostName;
    std::optional<bool> m_ssdpEnable;
};

// The progress of an interface's setup.
class OAIInterfaceSetupState
{
public:
    OAIInterfaceSetupState() = default;

    // Reads a state's name; case matters. Any other text is not a state.
    explicit OAIInterfaceSetupState(const QString &name);

    // The state's name, without quotes: one of configuration::kSetupStateNames;
    // empty when not set.
    [[nodiscard]] QString asJson() const { return m_name; }

private:
    QString m_name;
};

// The parameters that a network device uses, for instance {"address":"192.0.2.10"}.
class OAINetParams
{
public:
    OAINetParams() = default;
    explicit OAINetParams(const QJsonObject &object);

    [[nodiscard]] bool is_address_Set() const { return m_address.has_value(); }
    // The address as the service sent it; an IPv4 dotted quad if the service works
    // correctly, empty for an interface without an address.
    [[nodiscard]] QString getAddress() const { return m_address.value_or(QString()); }

private:
    std::optional<QString> m_address;
};

// The state of a network device, for instance
// {"interfaceSetupState":"Complete","connected":true}.
class OAINetStatus
{
public:
    OAINetStatus() = default;
    explicit OAINetStatus(const QJsonObject &object);

    // Whether the state is one of the four.
    [[nodiscard]] bool is_interface_setup_state_Set() const
    {
        return !m_setupState.asJson().isEmpty();
    }
    [[nodiscard]] OAIInterfaceSetupState getInterfaceSetupState() const { return m_setupState; }

    [[nodiscard]] bool is_connected_Set() const { return m_connected.has_value(); }
    // Whether the interface has a link.
    [[nodiscard]] bool isConnected() const { return m_connected.value_or(false); }

private:
    OAIInterfaceSetupState m_setupState;
    std::optional<bool> m_connected;
};

// One element of the parameter NetDeviceList, for instance
// {"activeParams":{"address":"192.0.2.10"},
//  "status":{"interfaceSetupState":"Complete","connected":true}}.
class OAINetDevice
{
public:
    OAINetDevice() = default;
    explicit OAINetDevice(const QJsonObject &object);

    [[nodiscard]] OAINetStatus getStatus() const { return m_status; }
    [[nodiscard]] OAINetParams getActiveParams() const { return m_activeParams; }

private:
    OAINetStatus m_status;
    OAINetParams m_activeParams;
};

} // namespace OpenAPI
