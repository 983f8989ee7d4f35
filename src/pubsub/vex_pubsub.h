#pragma once

#include "browser/vex_browser.h"
#include "formats/ssdp_device_type.h"
#include "pubsub/config_map.h"
#include "ssdp/vex_ssdp.h"

#include <QObject>
#include <QString>
#include <atomic>
#include <map>
#include <string>

class Mdns;

// VEXPubSub decides when the device is announced and withdrawn: it follows the
// configuration, opens and closes the SSDP engine on the device's network
// address, publishes and revokes the own SSDP service, and tells the mDNS
// publisher by signals what concerns it.
//
// One for the process. It belongs to the main thread, which runs the event loop,
// and blocks it where it has nothing to do before the host has an address. Only
// leave may be called from other threads.
// Failures of the engine are reported by the engine; nothing here stops for them.
class VEXPubSub : public QObject
{
    Q_OBJECT

public:
    // The one coordinator; the first call makes it, and with it the threads of
    // the browse list writer, and waits for the configuration service. Main
    // thread only. REQUIRES: a QCoreApplication.
    [[nodiscard]] static VEXPubSub *getInstance();

    explicit VEXPubSub(QObject *parent = nullptr);
    // Stops the threads and leaves without a goodbye.
    ~VEXPubSub() override;

    // Publishes the device for the first time. Called once, after half a second
    // in which the system may settle. REQUIRES: mdns lives as long as this.
    void init(Mdns *mdns);

    // Fills the record of the device's own service from its identity and
    // configuration; the engine completes the fields that are left.
    void initService(SSDPDeviceType &rec);

    // Queues the own service for announcement, whatever the SSDP switch says.
    void PublishSSDP();

    // Queues the own service's goodbye.
    void RevokeSSDP();

    // Ends discovery for good: says goodbye for every announced service, closes the
    // engine, ends its threads and the browser's, and removes the browse list. Ends
    // the waits of init and collectIPAddresses, too; no later change opens the engine
    // again. May be called from any thread, and more than once.
    void leave();

    // The addresses of the interface "net0", address to interface name. Waits
    // for the host to report its addresses, a second between tries, and a
    // second more when "net0" has none; no longer than until leave is called.
    void collectIPAddresses(std::map<std::string, std::string> &addrs);

Q_SIGNALS:
    // The SSDP switch.
    void enableHost(bool enable);
    // The interface is set up anew.
    void ipChanged();
    // The host's name.
    void nameChanged(QString name);

public Q_SLOTS:
    // Reacts to a change of a setting (see ConfigMap::paramChanged).
    void paramChanged(int dev, ConfigMap::ParamId id, const QString &strVal, bool boolVal);

private:
    using Addresses = std::map<std::string, std::string>; // address to interface name

    void publishMdns(Mdns *mdns);
    void connectMdns(Mdns *mdns);
    [[nodiscard]] Addresses collected();
    void openSSDP(const Addresses &addrs);
    void followAddress();
    [[nodiscard]] bool leavingWithin(unsigned int waitMs);
    void republishSSDP();
    void hostNameChanged(const QString &name);
    void setupStateChanged(const QString &state);
    void ssdpEnableChanged(bool enable);
    void connectedChanged(bool connected);

    ConfigMap m_config;
    VEX_SSDP m_ssdp;
    VEXBrowser m_browser;
    std::atomic<bool> m_leaving{false};
    QString m_ipAddress; // as last read from the configuration
    QString m_hostName;
    QString m_openAddress;     // on which the engine was last opened
    bool m_ssdpEnabled = true; // stays so when SSDP is off at the start, until it is switched
    SSDPDeviceType m_service;  // the own service as last published
    // Whether to prefer "https://" where the product can serve it: kept for
    // products to come, set by nothing yet.
    bool m_preferHttps = false;
};
