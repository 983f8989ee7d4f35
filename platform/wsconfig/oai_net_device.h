#pragma once

#include <QJsonObject>
#include <QString>

// The service's model of a network device:
// {"activeParams":{"address":"192.0.2.10"},
//  "status":{"interfaceSetupState":"Complete","connected":true}}.
// Every member may be absent. One that is, or has another type, reads as empty
// text or false. Values; any thread.
namespace OpenAPI {

// How far the interface's setting up has come.
class OAIInterfaceSetupState
{
public:
    OAIInterfaceSetupState() = default;

    // Reads a state by its name, letter for letter; any other text is no state.
    explicit OAIInterfaceSetupState(const QString &name);

    // The state's name, without quotes: "Idle", "Preparing", "Complete" or
    // "Failed"; empty when not set.
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

    // The address, an IPv4 dotted quad if the service keeps to its contract.
    [[nodiscard]] QString getAddress() const { return m_address; }

private:
    QString m_address;
};

// The state of the interface and its cable.
class OAINetStatus
{
public:
    OAINetStatus() = default;
    explicit OAINetStatus(const QJsonObject &object);

    [[nodiscard]] OAIInterfaceSetupState getInterfaceSetupState() const { return m_setupState; }
    [[nodiscard]] bool isConnected() const { return m_connected; }

private:
    OAIInterfaceSetupState m_setupState;
    bool m_connected = false;
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
