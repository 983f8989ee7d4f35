#pragma once

#include "wsconfig/stream_socket.h"
#include "wsconfig/watch_answer_reader.h"
#include "wsconfig/watch_policy.h"

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <QVector>
#include <memory>
#include <optional>
#include <string>

namespace wsconfig {

// The service to ask, and the parameters to watch.
struct WatchTarget
{
    QString host;        // a dotted quad
    int port = 0;        // 1 to 65535
    QString systemName;  // the client's name, for the service's information
    QVector<int> params; // the parameters' numbers, in the order to ask for
};

// The HTTP request that opens a watch.
[[nodiscard]] QByteArray watchRequest(const WatchTarget &target);

// WatchStream keeps one watch on the configuration service open while it exists: it
// connects, reads, and connects again when the stream is lost or silent for too long. It
// belongs to the thread that made it and uses that thread's event loop. Faults are written
// to standard error, one line each (see Outage); none ends the watch.
//
// A slot on valueReceived may destroy the stream.
class WatchStream : public QObject
{
    Q_OBJECT

public:
    // Does nothing before start.
    explicit WatchStream(const WatchTarget &target, const WatchPolicy &policy = {});
    ~WatchStream() override;

    // Opens the stream and waits until each parameter has been delivered once, at most
    // policy.firstDeliveryMs. Meanwhile the event loop does not run, and only valueReceived
    // is emitted. After that the watch continues on the event loop, even if nothing was
    // delivered. Called once. REQUIRES: a QCoreApplication.
    void start();

Q_SIGNALS:
    // A value arrived; it may be the same as before.
    void valueReceived(int param, const QString &json);

private:
    enum class Phase { Pausing, Connecting, Reading };

    // Disables a notifier at once, but destroys it when the event loop runs: the stream may
    // be lost inside the notifier's own slot.
    struct DeleteLater
    {
        void operator()(QSocketNotifier *notifier) const;
    };

    void waitOnce(int limitMs);
    void onTimer();
    void onReady();
    void connectToService();
    void sendRequest();
    void receive();
    void take(const WatchNews &news);
    void lose(Outage::Cause cause, const std::string &reason);
    void watchDescriptor(QSocketNotifier::Type type);
    void report(const std::string &text) const;

    const WatchTarget m_target;
    const WatchPolicy m_policy;
    Phase m_phase = Phase::Pausing;
    QVector<int> m_awaited; // parameters that have not been delivered yet
    StreamSocket m_socket;
    std::unique_ptr<QSocketNotifier, DeleteLater> m_notifier; // disabled before the socket closes
    std::optional<WatchAnswerReader> m_answer;
    ReconnectPause m_pause;
    Outage m_outage;
    // Runs out at the end of the pause, or when the service has been silent for too long.
    // After a delay of the event loop, Qt handles data in the socket before this time-out.
    QTimer m_timer;
};

} // namespace wsconfig
