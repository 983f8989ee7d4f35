#include "pubsub/vex_pubsub.h"

#include "formats/ssdp_protocol.h"
#include "mdns/mdns.h"
#include "product/product_id.h"
#include "product/serial_number.h"
#include "vexbase/vex_ip_socket.h"
#include "vexbase/vex_output.h"
#include "wsconfig/configuration.h"

#include <QStringList>
#include <chrono>
#include <thread>

namespace {

constexpr const char *kInterface = "net0";
constexpr int kInterfaceSlot = 0; // in ConfigMap, which ignores it for settings of the system
constexpr unsigned int kSettlingTimeMs = 500;
constexpr unsigned int kAddressPauseMs = 1000;
constexpr unsigned int kStepMs = 50;

constexpr const char *kWebService = "_http._tcp";
constexpr int kWebPort = 80;

} // namespace

VEXPubSub *VEXPubSub::getInstance()
{
    static auto *const instance = new VEXPubSub(nullptr); // never destroyed
    return instance;
}

VEXPubSub::VEXPubSub(QObject *parent) : QObject(parent), m_browser(&m_ssdp)
{
    vexbase::WriteProgress({"initializing pubsub object"});
    connect(&m_config, SIGNAL(paramChanged(int, ConfigMap::ParamId, const QString &, bool)), this,
            SLOT(paramChanged(int, ConfigMap::ParamId, const QString &, bool)));
    m_config.startWatch();
}

VEXPubSub::~VEXPubSub()
{
    m_browser.Stop(vexbase::kInfinite);
    m_ssdp.Close(VEX_SSDP::Goodbye::Skip);
}

void VEXPubSub::init(Mdns *mdns)
{
    if (waitForLeaving(kSettlingTimeMs)) {
        return;
    }
    static_cast<void>(m_browser.Start());
    publishMdns(mdns);
    connectMdns(mdns);
    openSSDP(collectAddresses());
    m_hostName = m_config.getString(kInterfaceSlot, ConfigMap::HostName);
    Q_EMIT nameChanged(QString::fromUtf8(m_hostName.toUtf8()));
    const bool enabled = m_config.getBool(kInterfaceSlot, ConfigMap::SsdpEnable);
    if (enabled) {
        PublishSSDP();
    }
    Q_EMIT enableHost(enabled);
}

void VEXPubSub::publishMdns(Mdns *mdns)
{
    const QByteArray hostName = m_config.getString(kInterfaceSlot, ConfigMap::HostName).toUtf8();
    const QStringList txt{QStringLiteral("txtvers=1"), QStringLiteral("path=/")};
    mdns->init(getCleanSerialNumber().c_str(), CProductID::GetCurrentModelName().c_str(),
               hostName.constData());
    mdns->publishMdnsEntry(kWebService, kWebPort, txt);
}

void VEXPubSub::connectMdns(Mdns *mdns)
{
    connect(this, SIGNAL(enableHost(bool)), mdns, SLOT(enableHost(bool)));
    connect(this, SIGNAL(ipChanged()), mdns, SLOT(ipChanged()));
    connect(this, SIGNAL(nameChanged(QString)), mdns, SLOT(nameChanged(QString)));
}

void VEXPubSub::initService(SSDPDeviceType &rec)
{
    rec.notificationType = "upnp:rootdevice";
    rec.hostName = m_hostName.toStdString();
    rec.serialNumber = getCleanSerialNumber();
    m_ipAddress = m_config.getString(kInterfaceSlot, ConfigMap::Address);
    rec.ipAddress = m_ipAddress.toStdString();
    rec.boardID = "0x" + CProductID::GetCurrentBoardIDString();
    rec.modelNumber = rec.boardID;
    rec.instance = "0";
    rec.productName = CProductID::GetCurrentModelName();
    rec.modelName = CProductID::GetCurrentModelName();
    rec.modelDescription = CProductID::GetCurrentProductCategoryName(kVEXBoardCurrent);
    rec.urlScheme = CProductFeatures::canDoHTTPS() && m_preferHttps ? "https://" : "http://";
}

void VEXPubSub::PublishSSDP()
{
    SSDPDeviceType service;
    initService(service);
    m_ssdp.SetPath(formats::kWebRoot);
    m_ssdp.AddService(service);
    m_service = service;
}

void VEXPubSub::RevokeSSDP()
{
    m_ssdp.RemoveService(m_service.modelName, m_ipAddress.toStdString());
}

// The goodbyes are sent first, because other devices need them and the rest may take seconds.
void VEXPubSub::leave()
{
    m_leaving = true;
    m_ssdp.Close();
    m_browser.Stop(vexbase::kInfinite);
    VEXBrowser::RemoveList();
}

// Waits until leave() is called. Returns false if the time is over. Polls in short sleeps,
// which a change of the wall clock does not affect.
bool VEXPubSub::waitForLeaving(unsigned int timeoutMs)
{
    for (unsigned int waitedMs = 0; waitedMs < timeoutMs && !m_leaving; waitedMs += kStepMs) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kStepMs));
    }
    return m_leaving;
}

void VEXPubSub::collectIPAddresses(Addresses &addrs)
{
    const VEXIPSocket socket;
    Addresses ipv6;
    addrs.clear();
    while (!socket.GetHostIPAddresses(addrs, ipv6)) {
        if (waitForLeaving(kAddressPauseMs)) {
            return;
        }
    }
    for (auto entry = addrs.begin(); entry != addrs.end();) {
        entry = entry->second == kInterface ? std::next(entry) : addrs.erase(entry);
    }
    if (addrs.empty()) {
        static_cast<void>(waitForLeaving(kAddressPauseMs));
    }
}

VEXPubSub::Addresses VEXPubSub::collectAddresses()
{
    Addresses addrs;
    collectIPAddresses(addrs);
    return addrs;
}

// Takes the addresses as an argument, because collecting them may take seconds: the open
// engine works until they are there.
void VEXPubSub::openSSDP(const Addresses &addrs)
{
    if (waitForLeaving(0)) {
        return;
    }
    if (m_ssdp.IsOpen()) {
        m_ssdp.Close();
    }
    if (m_ssdp.Open(addrs) != 0) {
        m_openAddress = QString::fromStdString(addrs.begin()->first);
    }
}

// When the address changes while SSDP is off, the engine stays open on the former address.
// On that address it would not announce a service of the new address. If the interface still
// has the former address, the engine stays open: to open it again would only empty its
// registry.
void VEXPubSub::followAddress()
{
    const QString address = m_config.getString(kInterfaceSlot, ConfigMap::Address);
    if (!m_ssdp.IsOpen() || address.isEmpty() || address == m_openAddress) {
        return;
    }
    const Addresses addrs = collectAddresses();
    if (addrs.count(m_openAddress.toStdString()) == 0) {
        openSSDP(addrs);
    }
}

void VEXPubSub::republishSSDP()
{
    RevokeSSDP();
    openSSDP(collectAddresses());
    PublishSSDP();
}

void VEXPubSub::paramChanged(int /*dev*/, ConfigMap::ParamId id, const QString &strVal,
                             bool boolVal)
{
    switch (id) {
    case ConfigMap::Address:
        if (m_ssdpEnabled) {
            republishSSDP();
        }
        break;
    case ConfigMap::HostName:
        hostNameChanged(strVal);
        break;
    case ConfigMap::InterfaceSetupState:
        setupStateChanged(strVal);
        break;
    case ConfigMap::SsdpEnable:
        ssdpEnableChanged(boolVal);
        break;
    case ConfigMap::Connected:
        connectedChanged(boolVal);
        break;
    }
}

void VEXPubSub::hostNameChanged(const QString &name)
{
    m_hostName = name;
    if (m_ssdpEnabled) {
        Q_EMIT nameChanged(name);
        republishSSDP();
    }
}

// When the interface is complete the engine is opened even if SSDP is off, because the
// device then still sees its neighbours.
void VEXPubSub::setupStateChanged(const QString &state)
{
    using configuration::NameOf;
    using configuration::SetupState;
    if (state == QLatin1String(NameOf(SetupState::Preparing))) {
        if (m_ssdpEnabled) {
            RevokeSSDP();
            m_ssdp.Close();
        }
    } else if (state == QLatin1String(NameOf(SetupState::Complete))) {
        const Addresses addrs = collectAddresses();
        Q_EMIT ipChanged();
        openSSDP(addrs);
        if (m_ssdpEnabled) {
            PublishSSDP();
        }
    }
}

void VEXPubSub::ssdpEnableChanged(bool enable)
{
    if (enable) {
        m_hostName = m_config.getString(kInterfaceSlot, ConfigMap::HostName);
        m_ssdpEnabled = true;
        Q_EMIT enableHost(true);
        followAddress();
        PublishSSDP();
    } else {
        Q_EMIT enableHost(false);
        m_ssdpEnabled = false;
        RevokeSSDP();
    }
}

// Without a link a goodbye would reach no device. When the link returns, interface setup
// follows and triggers the announcement.
void VEXPubSub::connectedChanged(bool connected)
{
    if (!m_ssdpEnabled) {
        return;
    }
    if (!connected) {
        if (m_ssdp.IsOpen()) {
            m_ssdp.Close(VEX_SSDP::Goodbye::Skip);
        }
    } else if (!m_ssdp.IsOpen()) {
        openSSDP(collectAddresses());
    }
}
