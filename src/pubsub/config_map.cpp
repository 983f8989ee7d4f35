#include "pubsub/config_map.h"

#include <QList>

namespace {

constexpr const char *kServiceHost = "127.0.0.1";
constexpr int kServicePort = 8080;
constexpr const char *kSystemName = "beacond";

// Stores a value. Returns whether it differs from the previous one.
template <typename Value>
bool Store(Value &cached, const Value &value)
{
    const bool differs = cached != value;
    cached = value;
    return differs;
}

} // namespace

ConfigMap::ConfigMap(QObject *parent)
    : QObject(parent), m_wsConfig(nullptr, QString::fromLatin1(kServiceHost), kServicePort)
{
}

void ConfigMap::startWatch()
{
    connect(&m_wsConfig, SIGNAL(valueChanged(WSConfig::ParamId, const QString &)), this,
            SLOT(handleValueChanged(WSConfig::ParamId, const QString &)));
    m_wsConfig.setSystemName(QString::fromLatin1(kSystemName));
    std::array<WSConfig::ParamId, 2> ids{WSConfig::SystemConfig, WSConfig::NetDeviceList};
    m_wsConfig.watch(ids.data(), static_cast<int>(ids.size()));
    m_notify = true;
}

QString ConfigMap::getString(int slot, ParamId id) const
{
    const auto index = static_cast<std::size_t>(slot);
    switch (id) {
    case Address:
        return m_address[index];
    case HostName:
        return m_hostName;
    case InterfaceSetupState:
        return m_setupState[index];
    default:
        return {};
    }
}

bool ConfigMap::getBool(int slot, ParamId id) const
{
    switch (id) {
    case Connected:
        return m_connected[static_cast<std::size_t>(slot)];
    case SsdpEnable:
        return m_ssdpEnable;
    default:
        return false;
    }
}

void ConfigMap::handleValueChanged(WSConfig::ParamId id, const QString &value)
{
    if (id == WSConfig::SystemConfig) {
        updateSystem(value);
    } else if (id == WSConfig::NetDeviceList) {
        const QList<OpenAPI::OAINetDevice> devices = m_wsConfig.makeDeviceList(value);
        for (int slot = 0; slot < kSlots && slot < devices.size(); ++slot) {
            updateDevice(slot, devices[slot]);
        }
    }
}

// If a member is absent or malformed, its setting keeps its value.
void ConfigMap::updateSystem(const QString &json)
{
    const OpenAPI::OAISystemConfig system(json);
    if (system.is_host_name_Set() && Store(m_hostName, system.getHostName())) {
        report(0, HostName, m_hostName, false);
    }
    if (system.is_ssdp_enable_Set() && Store(m_ssdpEnable, system.isSsdpEnable())) {
        report(0, SsdpEnable, QString(), m_ssdpEnable);
    }
}

void ConfigMap::updateDevice(int slot, const OpenAPI::OAINetDevice &device)
{
    const auto index = static_cast<std::size_t>(slot);
    const OpenAPI::OAINetStatus status = device.getStatus();
    if (status.is_interface_setup_state_Set() &&
        Store(m_setupState[index], status.getInterfaceSetupState().asJson())) {
        report(slot, InterfaceSetupState, m_setupState[index], false);
    }
    if (status.is_connected_Set() && Store(m_connected[index], status.isConnected())) {
        report(slot, Connected, QString(), m_connected[index]);
    }
    const OpenAPI::OAINetParams params = device.getActiveParams();
    if (params.is_address_Set() && Store(m_address[index], params.getAddress())) {
        report(slot, Address, QString(), true);
    }
}

void ConfigMap::report(int slot, ParamId id, const QString &strVal, bool boolVal)
{
    if (slot == 0 && m_notify) {
        Q_EMIT paramChanged(slot, id, strVal, boolVal);
    }
}
