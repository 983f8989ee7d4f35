#include "wsconfig/watch_answer_reader.h"

#include <QByteArray>
#include <QJsonDocument>
#include <algorithm>
#include <utility>

namespace wsconfig {

namespace {

constexpr int kStatusOk = 200;

bool isEventStream(const std::string &contentType)
{
    // Parameters may follow, for instance a character set.
    const QByteArray type = QByteArray::fromStdString(contentType.substr(0, contentType.find(';')));
    return type.trimmed().toLower() == "text/event-stream";
}

} // namespace

WatchAnswerReader::WatchAnswerReader(QVector<int> params) : m_params(std::move(params)) {}

WatchNews WatchAnswerReader::feed(std::string_view bytes)
{
    WatchNews news;
    std::string body;
    if (m_fault.empty() && !m_response.feed(bytes, body)) {
        m_fault = "bad HTTP answer: " + m_response.error();
    }
    // If the header and the body have faults, the one in the header is reported.
    if (m_response.headerDone() && !headerFault().empty()) {
        m_fault = headerFault();
        body.clear();
    }
    for (const ServerEvent &event : m_events.feed(body)) {
        takeEvent(event, news);
    }
    news.fault = m_fault;
    news.ended = m_fault.empty() && m_response.done();
    return news;
}

std::string WatchAnswerReader::headerFault() const
{
    if (m_response.status() != kStatusOk) {
        return "status " + std::to_string(m_response.status());
    }
    return isEventStream(m_response.contentType()) ? "" : "not an event stream";
}

void WatchAnswerReader::takeEvent(const ServerEvent &event, WatchNews &news) const
{
    if (event.tooLarge) {
        news.dropped.push_back("over " + std::to_string(kMaxEventBytes) + " bytes");
        return;
    }
    const auto param = std::find_if(m_params.begin(), m_params.end(), [&event](int watched) {
        return event.type == std::to_string(watched);
    });
    if (param == m_params.end()) {
        news.dropped.emplace_back("not of a watched parameter");
        return;
    }
    const QByteArray json = QByteArray::fromStdString(event.data);
    QJsonParseError error{};
    if (QJsonDocument::fromJson(json, &error).isNull()) {
        news.dropped.push_back("parameter " + event.type + ": " +
                               error.errorString().toStdString());
        return;
    }
    news.values.push_back({*param, QString::fromUtf8(json.constData(), json.size())});
}

} // namespace wsconfig
