#include "wsconfig/oai_models.h"

#include "wsconfig/configuration.h"

#include <QJsonDocument>
#include <QLatin1String>
#include <algorithm>

namespace OpenAPI {

OAISystemConfig::OAISystemConfig(const QString &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json.toUtf8()).object();
    const QJsonValue hostName = object.value(QLatin1String("hostName"));
    if (hostName.isString()) {
        m_hostName = hostName.toString();
    }
    const QJsonValue ssdpEnable = object.value(QLatin1String("ssdpEnable"));
    if (ssdpEnable.isBool()) {
        m_ssdpEnable = ssdpEnable.toBool();
    }
}

OAIInterfaceSetupState::OAIInterfaceSetupState(const QString &name)
{
    const auto &names = configuration::kSetupStateNames;
    if (std::any_of(names.begin(), names.end(),
                    [&name](const char *state) { return name == QLatin1String(state); })) {
        m_name = name;
    }
}

OAINetParams::OAINetParams(const QJsonObject &object)
{
    const QJsonValue address = object.value(QLatin1String("address"));
    if (address.isString()) {
        m_address = address.toString();
    }
}

OAINetStatus::OAINetStatus(const QJsonObject &object)
    : m_setupState(object.value(QLatin1String("interfaceSetupState")).toString())
{
    const QJsonValue connected = object.value(QLatin1String("connected"));
    if (connected.isBool()) {
        m_connected = connected.toBool();
    }
}

OAINetDevice::OAINetDevice(const QJsonObject &object)
    : m_status(object.value(QLatin1String("status")).toObject()),
      m_activeParams(object.value(QLatin1String("activeParams")).toObject())
{
}

} // namespace OpenAPI
