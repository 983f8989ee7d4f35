#include "wsconfig/watch_stream.h"

#include "vexbase/vex_output.h"

#include <QDeadlineTimer>
#include <QPointer>
#include <QUrl>
#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <poll.h>
#include <system_error>

namespace wsconfig {

namespace {

std::string errorText(int error)
{
    return std::generic_category().message(error);
}

} // namespace

QByteArray watchRequest(const WatchTarget &target)
{
    QByteArray params;
    for (const int param : target.params) {
        params += (params.isEmpty() ? "" : ",") + QByteArray::number(param);
    }
    return "GET /api/v1/watch?system=" + QUrl::toPercentEncoding(target.systemName) +
           "&params=" + params + " HTTP/1.1\r\nHost: " + target.host.toUtf8() + ':' +
           QByteArray::number(target.port) + "\r\nAccept: text/event-stream\r\n\r\n";
}

WatchStream::WatchStream(const WatchTarget &target, const WatchPolicy &policy)
    : m_target(target),
      m_policy(policy),
      m_awaited(target.params),
      m_pause(policy.shortestPauseMs, policy.longestPauseMs)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &WatchStream::onTimer);
}

WatchStream::~WatchStream() = default;

void WatchStream::start()
{
    const QPointer<WatchStream> alive(this);
    const QDeadlineTimer deadline(m_policy.firstDeliveryMs);
    connectToService();
    while (alive && !m_awaited.isEmpty() && !deadline.hasExpired()) {
        waitOnce(static_cast<int>(deadline.remainingTime()));
    }
    if (alive && !m_awaited.isEmpty()) {
        report("not every value came within " + std::to_string(m_policy.firstDeliveryMs) + " ms");
    }
}

void WatchStream::waitOnce(int limitMs)
{
    // Without a descriptor, poll() only waits.
    const short events = m_phase == Phase::Connecting ? POLLOUT : POLLIN;
    pollfd polled{m_socket.descriptor(), events, 0};
    if (poll(&polled, 1, std::min(limitMs, m_timer.remainingTime())) > 0) {
        onReady();
    } else if (m_timer.remainingTime() == 0) {
        onTimer();
    }
}

void WatchStream::onTimer()
{
    if (m_phase == Phase::Pausing) {
        connectToService();
    } else {
        lose(Outage::Cause::NoService, "silent for " + std::to_string(m_policy.silenceMs) + " ms");
    }
}

void WatchStream::onReady()
{
    if (m_phase == Phase::Connecting) {
        sendRequest();
    } else {
        receive();
    }
}

void WatchStream::connectToService()
{
    if (const int error = m_socket.startConnecting(m_target.host, m_target.port)) {
        lose(Outage::Cause::NoService, errorText(error));
        return;
    }
    m_phase = Phase::Connecting;
    watchDescriptor(QSocketNotifier::Write);
    m_timer.start(m_policy.silenceMs);
}

void WatchStream::sendRequest()
{
    int error = m_socket.connectError();
    if (error == 0) {
        error = m_socket.send(watchRequest(m_target));
    }
    if (error != 0) {
        lose(Outage::Cause::NoService, errorText(error));
        return;
    }
    m_phase = Phase::Reading;
    m_answer.emplace(m_target.params);
    watchDescriptor(QSocketNotifier::Read);
}

void WatchStream::receive()
{
    std::array<char, kMaxBodyPieceBytes> buffer{};
    const ssize_t got = m_socket.receive(buffer.data(), buffer.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (got <= 0) {
        lose(Outage::Cause::NoService, got == 0 ? "closed by the service" : errorText(errno));
        return;
    }
    m_timer.start(m_policy.silenceMs);
    WatchNews news;
    try {
        news = m_answer->feed({buffer.data(), static_cast<std::size_t>(got)});
    } catch (const std::exception &error) { // lack of memory
        lose(Outage::Cause::NoService, error.what());
        return;
    }
    take(news);
}

void WatchStream::take(const WatchNews &news)
{
    for (const std::string &reason : news.dropped) {
        report("event dropped: " + reason);
    }
    for (const WatchedValue &value : news.values) {
        m_awaited.removeAll(value.param);
    }
    if (!news.values.empty()) {
        m_pause.reset();
        if (m_outage.end()) {
            report("stream is back");
        }
    }
    if (!news.fault.empty()) {
        lose(Outage::Cause::WrongAnswer, news.fault);
    } else if (news.ended) {
        lose(Outage::Cause::NoService, "ended by the service");
    }
    // At the end, because a slot may destroy this stream.
    const QPointer<WatchStream> alive(this);
    for (const WatchedValue &value : news.values) {
        if (alive) {
            Q_EMIT valueReceived(value.param, value.json);
        }
    }
}

void WatchStream::lose(Outage::Cause cause, const std::string &reason)
{
    m_notifier.reset();
    m_socket.close();
    m_phase = Phase::Pausing;
    if (m_outage.begin(cause)) {
        report("stream lost: " + reason);
    }
    m_timer.start(m_pause.takeMs());
}

void WatchStream::watchDescriptor(QSocketNotifier::Type type)
{
    m_notifier.reset(new QSocketNotifier(m_socket.descriptor(), type));
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &WatchStream::onReady);
}

void WatchStream::report(const std::string &text) const
{
    vexbase::WriteFault({"WSConfig: ", m_target.host.toStdString(), ":",
                         std::to_string(m_target.port), ": ", text});
}

void WatchStream::DeleteLater::operator()(QSocketNotifier *notifier) const
{
    notifier->setEnabled(false);
    notifier->deleteLater();
}

} // namespace wsconfig
