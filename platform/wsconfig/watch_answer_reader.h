#pragma once

#include "wsconfig/event_stream_reader.h"
#include "wsconfig/http_response_reader.h"

#include <QString>
#include <QVector>
#include <string>
#include <string_view>
#include <vector>

// One value of a watched parameter, as the service sent it.
struct WatchedValue
{
    int param;
    QString json; // an object or an array, checked to be well-formed
};

// What one piece of the answer to a watch brought.
struct WatchNews
{
    std::vector<WatchedValue> values;
    std::vector<std::string> dropped; // for each event that was no value, why
    std::string fault;                // why the answer cannot be read on; empty while it can
    bool ended = false;               // the service brought the answer to its end
};

// WatchAnswerReader reads the service's answer to one watch request: a response
// with status 200 and an event stream, in which each event carries a value of a
// parameter that is watched. Texts in its results are this program's own; none
// repeats what the service sent. It knows no socket and no clock, and never
// throws for what it is fed.
class WatchAnswerReader
{
public:
    // The numbers of the parameters that were asked for; events of others are
    // dropped.
    explicit WatchAnswerReader(QVector<int> params);

    // Takes the next bytes of the connection. After a fault or the end nothing
    // more comes.
    [[nodiscard]] WatchNews feed(std::string_view bytes);

private:
    [[nodiscard]] std::string headerFault() const;
    void takeEvent(const ServerEvent &event, WatchNews &news) const;

    const QVector<int> m_params;
    HttpResponseReader m_response;
    EventStreamReader m_events;
    std::string m_fault;
};
