#include "wsconfig/event_stream_reader.h"

#include <utility>

namespace wsconfig {

namespace {

// The stream may begin with a byte order mark, which is not part of the first line.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

} // namespace

EventStreamReader::EventStreamReader(std::size_t maxEventBytes) : m_maxEventBytes(maxEventBytes) {}

std::vector<ServerEvent> EventStreamReader::feed(std::string_view bytes)
{
    std::vector<ServerEvent> events;
    while (!bytes.empty()) {
        if (std::exchange(m_afterCarriageReturn, false) && bytes.front() == '\n') {
            bytes.remove_prefix(1);
            continue;
        }
        const std::size_t end = bytes.find_first_of("\r\n");
        takePartOfLine(bytes.substr(0, end), events);
        if (end == std::string_view::npos) {
            break;
        }
        m_afterCarriageReturn = bytes[end] == '\r';
        endLine(events);
        bytes.remove_prefix(end + 1);
    }
    return events;
}

void EventStreamReader::takePartOfLine(std::string_view part, std::vector<ServerEvent> &events)
{
    m_lineIsEmpty = m_lineIsEmpty && part.empty();
    if (m_tooLarge) {
        return;
    }
    if (m_line.size() + m_type.size() + m_data.size() + part.size() > m_maxEventBytes) {
        m_tooLarge = true;
        m_line.clear();
        events.push_back({{}, {}, true});
        return;
    }
    m_line.append(part);
}

void EventStreamReader::endLine(std::vector<ServerEvent> &events)
{
    if (m_lineIsEmpty) {
        endEvent(events);
    } else if (!m_tooLarge) {
        takeField(m_line);
    }
    m_line.clear();
    m_lineIsEmpty = true;
    m_firstLine = false;
}

void EventStreamReader::takeField(std::string_view line)
{
    if (m_firstLine && line.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        line.remove_prefix(kByteOrderMark.size());
    }
    const std::size_t colon = line.find(':');
    const std::string_view name = line.substr(0, colon);
    std::string_view value;
    if (colon != std::string_view::npos) {
        value = line.substr(colon + 1);
        value.remove_prefix(!value.empty() && value.front() == ' ' ? 1 : 0);
    }
    if (name == "event") {
        m_type = value;
    } else if (name == "data") {
        m_data.append(value).push_back('\n');
    }
}

void EventStreamReader::endEvent(std::vector<ServerEvent> &events)
{
    // By the standard, nothing is dispatched without a "data" field.
    if (!m_tooLarge && !m_data.empty()) {
        m_data.pop_back();
        events.push_back({std::move(m_type), std::move(m_data), false});
    }
    m_type.clear();
    m_data.clear();
    m_tooLarge = false;
}

} // namespace wsconfig
