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

// VEXPubSub, the coordinator, decides when the device is announced and withdrawn. It follows the
// configuration, opens and closes the SSDP engine on the device's address, publishes and
// revokes the device's own SSDP service, and sends signals to the mDNS publisher.
//
// There is one instance in the process. It belongs to the main thread, which runs the event loop;
// only leave may be called from other threads. Before VEXPubSub opens the engine, it blocks the
// event loop until the system reports its addresses; see collectIPAddresses. Failures of the
// engine are reported by the engine and ignored here.
class VEXPubSub : public QObject
{
    Q_OBJECT

public:
    // Returns the coordinator. The first call creates it, starts the thread that writes the
    // browse list, and waits at most 5 s for the configuration service. REQUIRES: a
    // QCoreApplication.
    [[nodiscard]] static VEXPubSub *getInstance();

    explicit VEXPubSub(QObject *parent = nullptr);
    // Stops the threads and closes the engine without a goodbye.
    ~VEXPubSub() override;

    // Waits half a second for the system to settle, then publishes the device for the first
    // time: by DNS-SD, and by SSDP if it is switched on. Called once. REQUIRES: mdns exists as
    // long as this object.
    void init(Mdns *mdns);

    // Fills the record of the device's own service from its identity and configuration. The
    // engine sets the other fields.
    void initService(SSDPDeviceType &rec);

    // Queues the device's own service for announcement, even if SSDP is switched off.
    void PublishSSDP();

    // Queues the goodbye of the device's own service.
    void RevokeSSDP();

    // Removes the device from the network before the process ends: sends the goodbyes,
    // closes the engine, ends the threads of engine and browser, and removes the browse list.
    // A wait of init or collectIPAddresses that is in progress ends within 50 ms. The main
    // thread does not open the engine again, but may finish an opening that has begun: call
    // leave again on that thread. Any thread may call it, more than once.
    void leave();

    // Sets addrs to the addresses of the interface "net0", with the interface's name as the
    // value. If the system does not report its addresses, tries again every second. If
    // "net0" has none, waits one second more. leave ends both waits.
    void collectIPAddresses(std::map<std::string, std::string> &addrs);

Q_SIGNALS:
    // The SSDP switch.
    void enableHost(bool enable);
    // The interface has been set up again.
    void ipChanged();
    // The host name.
    void nameChanged(QString name);

public Q_SLOTS:
    // Handles a change of a setting; see ConfigMap::paramChanged.
    void paramChanged(int dev, ConfigMap::ParamId id, const QString &strVal, bool boolVal);

private:
    using Addresses = std::map<std::string, std::string>; // address to interface name

    void publishMdns(Mdns *mdns);
    void connectMdns(Mdns *mdns);
    [[nodiscard]] Addresses collectAddresses();
    void openSSDP(const Addresses &addrs);
    void followAddress();
    [[nodiscard]] bool waitForLeaving(unsigned int timeoutMs);
    void republishSSDP();
    void hostNameChanged(const QString &name);
    void setupStateChanged(const QString &state);
    void ssdpEnableChanged(bool enable);
    void connectedChanged(bool connected);

    ConfigMap m_config;
    VEX_SSDP m_ssdp;
    VEXBrowser m_browser;
    std::atomic<bool> m_leaving{false}; // leave() has been called
    QString m_ipAddress;                // as initService last read it
    QString m_hostName;
    QString m_openAddress;     // the address on which the engine was last opened
    bool m_ssdpEnabled = true; // even if SSDP is off at the start, until it is switched
    SSDPDeviceType m_service;  // the device's own service as last published
    // Whether the record gets "https://" if the product can serve it. Always false so far.
    bool m_preferHttps = false;
};
