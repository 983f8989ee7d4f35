#pragma once

#include "wsconfig/configuration.h"
#include "wsconfig/oai_models.h"

#include <QList>
#include <QObject>
#include <QString>
#include <memory>

namespace wsconfig {
class WatchStream;
}

// WSConfig is the client of the device's configuration service: it watches parameters and
// reports their values, now and when they change. It belongs to the thread that made it.
// That thread needs a QCoreApplication, and after watch a running event loop.
//
// Failures are not reported to the caller: they are written to standard error, the watch
// continues, and the service can end neither the watch nor the program. An event that
// cannot be read is dropped with one line. A lost stream gives one line when it is lost,
// one more if the service then answers wrongly, and one when it is back. (WatchStream writes
// the lines. The other classes of this folder return their failures: an errno value, or a text.)
class WSConfig : public QObject
{
    Q_OBJECT

public:
    // The service's parameters, by their numbers.
    enum ParamId {
        NetDeviceList = configuration::kNetDeviceList, // see makeDeviceList
        SystemConfig = configuration::kSystemConfig,   // see OpenAPI::OAISystemConfig
    };
    Q_ENUM(ParamId)

    // The service's address, a dotted quad, and its port, 1 to 65535. Connects only in
    // watch.
    WSConfig(QObject *parent, const QString &host, int port);
    ~WSConfig() override;

    // Sets the name of this client that the service gets with the next watch.
    void setSystemName(const QString &name);

    // Watches the parameters in the array ids, which has count elements, instead of those of
    // an earlier call; a count of 0 ends the watch. Returns when the first value of each has
    // been delivered, or after 5 s. The event loop does not run meanwhile; it delivers all
    // later values.
    void watch(WSConfig::ParamId *ids, int count);

    // Reads a value of NetDeviceList. An element that is not an object gives a device of
    // which nothing is set, so that all others keep their positions. Empty for text that is
    // not a JSON array. Any thread.
    [[nodiscard]] static QList<OpenAPI::OAINetDevice> makeDeviceList(const QString &json);

Q_SIGNALS:
    // A value of a watched parameter arrived, as JSON text; it may be the same as before.
    // A slot may call watch or destroy the client.
    void valueChanged(WSConfig::ParamId id, const QString &value);

private:
    const QString m_host;
    const int m_port;
    QString m_systemName;
    std::unique_ptr<wsconfig::WatchStream> m_stream; // null when nothing is watched
};
