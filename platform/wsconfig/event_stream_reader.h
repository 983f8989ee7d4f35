#pragma once

#include "wsconfig/watch_policy.h"

#include <string>
#include <string_view>
#include <vector>

namespace wsconfig {

// One event of a stream of server-sent events, or the report that one was too large.
struct ServerEvent
{
    std::string type;      // the last "event" field; empty if there was none
    std::string data;      // the "data" fields, joined by line feeds
    bool tooLarge = false; // the event was dropped; type and data are empty
};

// EventStreamReader parses a stream of server-sent events (WHATWG HTML, "Server-sent
// events") while it arrives. The same bytes give the same events in pieces of any size. It
// uses no socket and no clock. Not thread-safe.
//
// Lines end in CR, LF or CRLF. Comments and the fields "id" and "retry" are ignored. An
// event that exceeds the bound is reported once and skipped to its end. There are no other
// errors. For any input, the memory that is kept between two calls stays below six times the
// bound: each of three texts doubles its room when it grows, and keeps it for the next event.
class EventStreamReader
{
public:
    // The bound, in bytes, is on the parts of an event that are kept: the line that has not
    // ended yet, the type, and the data with a line feed after each "data" field. Comments and
    // the field names of complete lines do not count.
    explicit EventStreamReader(std::size_t maxEventBytes = kMaxEventBytes);

    // Parses the next bytes of the stream. Returns the events that they complete, in the
    // order of the stream.
    [[nodiscard]] std::vector<ServerEvent> feed(std::string_view bytes);

private:
    void takePartOfLine(std::string_view part, std::vector<ServerEvent> &events);
    void endLine(std::vector<ServerEvent> &events);
    void takeField(std::string_view line);
    void endEvent(std::vector<ServerEvent> &events);

    const std::size_t m_maxEventBytes;
    std::string m_line; // the part that has arrived
    std::string m_type;
    std::string m_data; // each "data" field so far, with a line feed after it
    bool m_lineIsEmpty = true;
    bool m_firstLine = true;
    bool m_afterCarriageReturn = false; // a line feed that follows belongs to it
    bool m_tooLarge = false;            // skipping the rest of this event
};

} // namespace wsconfig
