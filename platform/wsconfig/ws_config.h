#pragma once

#include "wsconfig/configuration.h"
#include "wsconfig/oai_net_device.h"

#include <QList>
#include <QObject>
#include <QString>
#include <memory>

class WatchStream;

// WSConfig is the client of the device's configuration service: it watches
// parameters and reports their values as they are and as they change. It belongs
// to the thread that made it, which needs a QCoreApplication and, for all that
// comes after watch, a running event loop.
//
// It promises that nothing the service does, being absent for years included,
// ends the program or the watch. What cannot be read is dropped with one line
// on standard error; a lost stream costs one line when it is lost and one when
// it is back.
class WSConfig : public QObject
{
    Q_OBJECT

public:
    // The service's parameters, by the numbers that it has for them.
    enum ParamId {
        NetDeviceList = configuration::kNetDeviceList, // see makeDeviceList
        SystemConfig = configuration::kSystemConfig,   // see OpenAPI::OAISystemConfig
    };
    Q_ENUM(ParamId)

    // The service's address, a dotted quad, and its port, 1 to 65535. Nothing is
    // opened before watch.
    WSConfig(QObject *parent, const QString &host, int port);
    ~WSConfig() override;

    // The name by which this client tells the service who it is. Holds for the
    // next watch.
    void setSystemName(const QString &name);

    // Watches the first count parameters of ids from now on, in place of those
    // of an earlier call; none ends the watching. Returns when each one's first
    // value has been delivered, or after 5 s with what came until then. The
    // event loop does not run meanwhile. All else is delivered from it.
    void watch(WSConfig::ParamId *ids, int count);

    // The devices in a value of NetDeviceList, each in its place: an element
    // that is no object is a device without anything set, so that the ones after
    // it keep their positions. Empty for text that is no JSON array. Any thread.
    [[nodiscard]] static QList<OpenAPI::OAINetDevice> makeDeviceList(const QString &json);

Q_SIGNALS:
    // A watched parameter's value arrived, as JSON text; it may be the same as
    // before. A slot may call watch or destroy the client.
    void valueChanged(WSConfig::ParamId id, const QString &value);

private:
    const QString m_host;
    const int m_port;
    QString m_systemName;
    std::unique_ptr<WatchStream> m_stream; // none before watch
};
