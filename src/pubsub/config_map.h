#pragma once

#include "wsconfig/oai_models.h"
#include "wsconfig/ws_config.h"

#include <QObject>
#include <QString>
#include <array>

// ConfigMap watches the configuration service on this host. It keeps the last value of
// each setting that the daemon uses, and emits one signal for each change.
//
// A network device has a slot, its position in the service's list. Slots 0 to 2 are kept;
// later devices are ignored. Only changes of slot 0 are reported.
//
// It belongs to the main thread, which also receives its signals. Failures of the service
// are written to standard error by WSConfig; the settings then keep their values.
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

    // Does not watch anything before startWatch.
    explicit ConfigMap(QObject *parent = nullptr);

    // Starts to watch the service, and waits at most 5 s for the first values. These are
    // kept without a signal; the caller reads them. Later values are reported if they differ.
    void startWatch();

    // The last value of a text; empty before the first value, and for parameters that are
    // not texts. REQUIRES: slot is 0 to kSlots - 1.
    [[nodiscard]] QString getString(int slot, ParamId id) const;

    // The last value of a boolean; false before the first value, and for parameters that
    // are not booleans. REQUIRES: slot is 0 to kSlots - 1.
    [[nodiscard]] bool getBool(int slot, ParamId id) const;

Q_SIGNALS:
    // A setting of the network device in slot dev has changed, or one of the system (dev is 0).
    // strVal is the new value of a text, but empty for Address: read it with getString. boolVal
    // is the new value of a boolean.
    void paramChanged(int dev, ConfigMap::ParamId id, const QString &strVal, bool boolVal);

private Q_SLOTS:
    void handleValueChanged(WSConfig::ParamId id, const QString &value);

private: // NOLINT(readability-redundant-access-specifiers): the slots end here
    void updateSystem(const QString &json);
    void updateDevice(int slot, const OpenAPI::OAINetDevice &device);
    void report(int slot, ParamId id, const QString &strVal, bool boolVal);

    WSConfig m_wsConfig;
    bool m_notify = false; // whether changes are reported; false until startWatch has waited
    QString m_hostName;
    bool m_ssdpEnable = false;
    std::array<bool, kSlots> m_connected{};
    std::array<QString, kSlots> m_address;
    std::array<QString, kSlots> m_setupState;
};
