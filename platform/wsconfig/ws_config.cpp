#include "wsconfig/ws_config.h"

#include "wsconfig/watch_stream.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaType>

WSConfig::WSConfig(QObject *parent, const QString &host, int port)
    : QObject(parent), m_host(host), m_port(port)
{
    // Queued connections and signal spies need the type's name.
    qRegisterMetaType<WSConfig::ParamId>("WSConfig::ParamId");
}

WSConfig::~WSConfig() = default;

void WSConfig::setSystemName(const QString &name)
{
    m_systemName = name;
}

void WSConfig::watch(WSConfig::ParamId *ids, int count)
{
    m_stream.reset();
    if (ids == nullptr || count <= 0) {
        return;
    }
    wsconfig::WatchTarget target{m_host, m_port, m_systemName, {}};
    for (int i = 0; i < count; ++i) {
        target.params.append(ids[i]);
    }
    m_stream = std::make_unique<wsconfig::WatchStream>(target);
    connect(m_stream.get(), &wsconfig::WatchStream::valueReceived, this,
            [this](int param, const QString &json) {
                Q_EMIT valueChanged(static_cast<ParamId>(param), json);
            });
    m_stream->start();
}

QList<OpenAPI::OAINetDevice> WSConfig::makeDeviceList(const QString &json)
{
    QList<OpenAPI::OAINetDevice> devices;
    const QJsonArray elements = QJsonDocument::fromJson(json.toUtf8()).array();
    for (const QJsonValue &element : elements) {
        devices.append(OpenAPI::OAINetDevice(element.toObject()));
    }
    return devices;
}
