#pragma once

#include "wsconfig/event_stream_reader.h"
#include "wsconfig/http_response_reader.h"

#include <QString>
#include <QVector>
#include <string>
#include <string_view>
#include <vector>

namespace wsconfig {

// One value of a watched parameter.
struct WatchedValue
{
    int param;    // its number
    QString json; // as the service sent it; well-formed, an object or an array
};

// The contents of one piece of a watch's answer.
struct WatchNews
{
    std::vector<WatchedValue> values;
    std::vector<std::string> dropped; // a reason for each event that was dropped
    std::string fault;                // the reason why the rest cannot be read; empty if it can
    bool ended = false;               // the service has completed the answer
};

// WatchAnswerReader parses the service's answer to one watch request: a response with
// status 200 whose body is an event stream. Each event has a value of a watched parameter.
// The reasons in its results do not quote the service. It uses no socket and no clock. Not
// thread-safe. No input makes it throw; only lack of memory does.
class WatchAnswerReader
{
public:
    // The numbers of the watched parameters. Events of others are dropped.
    explicit WatchAnswerReader(QVector<int> params);

    // Parses the next bytes of the connection. After a fault or the end, there are no more
    // values.
    [[nodiscard]] WatchNews feed(std::string_view bytes);

private:
    [[nodiscard]] std::string headerFault() const;
    void takeEvent(const ServerEvent &event, WatchNews &news) const;

    const QVector<int> m_params;
    HttpResponseReader m_response;
    EventStreamReader m_events;
    std::string m_fault;
};

} // namespace wsconfig
