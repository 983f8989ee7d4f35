#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// The service's model of a network device:
// {"activeParams":{"address":"192.0.2.10"},
//  "status":{"interfaceSetupState":"Complete","connected":true}}.
// A member that is absent or of another type is not set, and reads as empty text
// or false. Values; any thread.
namespace OpenAPI {

// How far the interface's setting up has come.
class OAIInterfaceSetupState
{
public:
    OAIInterfaceSetupState() = default;

    // Reads a state by its name, letter for letter; any other text is no state.
    explicit OAIInterfaceSetupState(const QString &name);

    // The state's name, without quotes: one of configuration::kSetupStateNames;
    // empty when not set.
    [[nodiscard]] QString asJson() const { return m_name; }

private:
    QString m_name;
};

// The settings in force.
class OAINetParams
{
public:
    OAINetParams() = default;
    explicit OAINetParams(const QJsonObject &object);

    [[nodiscard]] bool is_address_Set() const { return m_address.has_value(); }
    // The address, an IPv4 dotted quad if the service keeps to its contract;
    // empty for an interface without one.
    [[nodiscard]] QString getAddress() const { return m_address.value_or(QString()); }

private:
    std::optional<QString> m_address;
};

// The state of the interface and its cable.
class OAINetStatus
{
public:
    OAINetStatus() = default;
    explicit OAINetStatus(const QJsonObject &object);

    // Whether the state is one of those that there are.
    [[nodiscard]] bool is_interface_setup_state_Set() const
    {
        return !m_setupState.asJson().isEmpty();
    }
    [[nodiscard]] OAIInterfaceSetupState getInterfaceSetupState() const { return m_setupState; }

    [[nodiscard]] bool is_connected_Set() const { return m_connected.has_value(); }
    [[nodiscard]] bool isConnected() const { return m_connected.value_or(false); }

private:
    OAIInterfaceSetupState m_setupState;
    std::optional<bool> m_connected;
};

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
