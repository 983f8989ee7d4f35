#include "wsconfig/watch_stream.h"

#include <gtest/gtest.h>

using namespace wsconfig;

namespace {

std::string Request(const QString &name, const QVector<int> &params)
{
    return watchRequest({QStringLiteral("127.0.0.1"), 8080, name, params}).toStdString();
}

} // namespace

TEST(WatchRequest, AsksForTheParametersInTheGivenOrder)
{
    EXPECT_EQ(Request(QStringLiteral("beacond"), {24, 19}),
              "GET /api/v1/watch?system=beacond&params=24,19 HTTP/1.1\r\n"
              "Host: 127.0.0.1:8080\r\n"
              "Accept: text/event-stream\r\n"
              "\r\n");
}

TEST(WatchRequest, EncodesTheSystemName)
{
    EXPECT_EQ(Request(QString::fromUtf8("a b&c=d/\r\n%\xC3\xA9#"), {24}),
              "GET /api/v1/watch?system=a%20b%26c%3Dd%2F%0D%0A%25%C3%A9%23&params=24 HTTP/1.1\r\n"
              "Host: 127.0.0.1:8080\r\n"
              "Accept: text/event-stream\r\n"
              "\r\n");
}

TEST(WatchRequest, MayHaveAnEmptySystemName)
{
    EXPECT_EQ(Request({}, {19}), "GET /api/v1/watch?system=&params=19 HTTP/1.1\r\n"
                                 "Host: 127.0.0.1:8080\r\n"
                                 "Accept: text/event-stream\r\n"
                                 "\r\n");
}
