#pragma once

#include "wsconfig/oai_net_device.h"
#include "wsconfig/ws_config.h"

#include <QObject>
#include <QString>
#include <array>

// ConfigMap follows the settings that the daemon cares about: it watches the
// configuration service on this host, keeps each setting's last value, and
// reports every change of one that matters by one signal.
//
// Network devices have slots, their places in the service's list. Three are
// kept; a fourth and later device is ignored. Only slot 0 is reported.
//
// It belongs to the thread it was made on, the main thread, and so do its
// signals.
class ConfigMap : public QObject
{
    Q_OBJECT

public:
    enum ParamId {
        Address = 0,             // text: the device's active IPv4 address
        HostName = 1,            // text, one for the system
        InterfaceSetupState = 2, // text, such as "Preparing" or "Complete"
        SsdpEnable = 3,          // boolean, one for the system
        Connected = 4,           // boolean
    };

    static constexpr int kSlots = 3;

    // Makes the client; nothing is watched yet.
    explicit ConfigMap(QObject *parent = nullptr);

    // Subscribes to the service. What it delivers before this returns is kept
    // without a signal: the caller reads it. Waits some seconds for a service
    // that is not up; values that come later are reported as changes.
    void startWatch();

    // A text's last value, empty before the first and for parameters that are
    // not texts. REQUIRES: slot is from 0 to kSlots - 1.
    [[nodiscard]] QString getString(int slot, ParamId id) const;

    // A boolean's last value, false before the first and for parameters that are
    // not booleans. REQUIRES: slot is from 0 to kSlots - 1.
    [[nodiscard]] bool getBool(int slot, ParamId id) const;

Q_SIGNALS:
    // A setting of network device dev changed. strVal is the new value of a
    // text, but for Address, which is to be read with getString; boolVal that of
    // a boolean.
    void paramChanged(int dev, ConfigMap::ParamId id, const QString &strVal, bool boolVal);

private Q_SLOTS:
    void handleValueChanged(WSConfig::ParamId id, const QString &value);

private: // NOLINT(readability-redundant-access-specifiers): the slots end here
    void updateSystem(const QString &json);
    void updateDevice(int slot, const OpenAPI::OAINetDevice &device);
    void report(int slot, ParamId id, const QString &strVal, bool boolVal);

    WSConfig m_wsConfig;
    bool m_notify = false; // changes are reported; not while first values come in
    QString m_hostName;
    bool m_ssdpEnable = false;
    std::array<bool, kSlots> m_connected{};
    std::array<QString, kSlots> m_address;
    std::array<QString, kSlots> m_setupState;
};
