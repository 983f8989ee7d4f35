#pragma once

#include "wsconfig/watch_policy.h"

#include <string>
#include <string_view>
#include <vector>

// One event of a stream of server-sent events, or the note that one was
// dropped for its size.
struct ServerEvent
{
    std::string type;      // the last "event" field; empty when there was none
    std::string data;      // the "data" fields, joined by line feeds
    bool tooLarge = false; // over the bound: type and data are empty
};

// EventStreamReader takes a stream of server-sent events (WHATWG HTML, "Server-
// sent events") apart as it comes in. It knows no socket and no clock; the same
// bytes give the same events however they are cut into pieces.
//
// Lines end in CR, LF or CRLF. Comments and the fields "id" and "retry" are
// passed over. An event over the bound is noted once and passed over to its
// end; memory stays below twice the bound for anything that may come.
class EventStreamReader
{
public:
    // The bound is on an event's lines as they are kept: line ends, comments
    // and the field names of finished lines do not count.
    explicit EventStreamReader(std::size_t maxEventBytes = kMaxEventBytes);

    // Takes the next bytes of the stream, any number. Returns the events that
    // they complete, in order.
    [[nodiscard]] std::vector<ServerEvent> feed(std::string_view bytes);

private:
    void takePartOfLine(std::string_view part, std::vector<ServerEvent> &events);
    void endLine(std::vector<ServerEvent> &events);
    void takeField(std::string_view line);
    void endEvent(std::vector<ServerEvent> &events);

    const std::size_t m_maxEventBytes;
    std::string m_line; // as far as it has come
    std::string m_type;
    std::string m_data; // each "data" field so far, with a line feed after it
    bool m_lineIsEmpty = true;
    bool m_firstLine = true;
    bool m_afterCarriageReturn = false; // a line feed next belongs to it
    bool m_tooLarge = false;            // passing over the rest of this event
};
