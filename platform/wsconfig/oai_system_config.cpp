#include "wsconfig/oai_system_config.h"

#include <QJsonDocument>
#include <QJsonObject>

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

} // namespace OpenAPI
