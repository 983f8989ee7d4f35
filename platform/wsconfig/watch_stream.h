#pragma once

#include "wsconfig/outage.h"
#include "wsconfig/reconnect_pause.h"
#include "wsconfig/stream_socket.h"
#include "wsconfig/watch_answer_reader.h"
#include "wsconfig/watch_policy.h"
#include "wsconfig/watch_request.h"

#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <QVector>
#include <memory>
#include <optional>
#include <string>

// WatchStream keeps one watch on the configuration service open for as long as
// it lives: it connects, reads, and begins anew whenever the stream is lost or
// silent for too long. It belongs to the thread that made it and works on that
// thread's event loop. Faults are told on standard error, a line each, and none
// ends the watch.
//
// A slot on valueReceived may destroy the stream.
class WatchStream : public QObject
{
    Q_OBJECT

public:
    explicit WatchStream(const WatchTarget &target, const WatchPolicy &policy = {});
    ~WatchStream() override;

    // Opens the stream and waits until each parameter has been delivered once,
    // at most policy.firstDeliveryMs. No event loop runs meanwhile: nothing but
    // valueReceived is called. Whatever came or not, the watch goes on from the
    // event loop. To be called once.
    // REQUIRES: a QCoreApplication, this thread being the stream's.
    void start();

Q_SIGNALS:
    // A value arrived, the first time or again, changed or not.
    void valueReceived(int param, const QString &json);

private:
    enum class Phase { Pausing, Connecting, Reading };

    // Notifiers live on until the event loop runs, since their slot may be the
    // one that drops them; they no longer watch the descriptor.
    struct DropNotifier
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
    void notifyOf(QSocketNotifier::Type type);
    void tell(const std::string &text) const;

    const WatchTarget m_target;
    const WatchPolicy m_policy;
    Phase m_phase = Phase::Pausing;
    QVector<int> m_awaited; // not delivered yet
    StreamSocket m_socket;
    std::unique_ptr<QSocketNotifier, DropNotifier> m_notifier; // goes before the socket
    std::optional<WatchAnswerReader> m_answer;
    ReconnectPause m_pause;
    Outage m_outage;
    // The end of the pause, or of the service's right to be silent. When the event
    // loop was held up, it hands over what waits in the socket before time-outs.
    QTimer m_timer;
};
