#pragma once

#include "support/capture.h"
#include "support/scripted_server.h"
#include "wsconfig/watch_stream.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>
#include <gtest/gtest.h>
#include <sstream>

// For the tests of WatchStream: the server's usual answers, and a stream to that server
// whose values and lines are recorded.
namespace test {

constexpr int kGenerousMs = 20000;

// Short pauses, and time-outs that are longer than any test.
inline wsconfig::WatchPolicy Quick()
{
    wsconfig::WatchPolicy policy;
    policy.firstDeliveryMs = kGenerousMs;
    policy.silenceMs = 10 * kGenerousMs;
    policy.shortestPauseMs = 1;
    policy.longestPauseMs = 8;
    return policy;
}

// A policy that does not wait for the first values.
inline wsconfig::WatchPolicy FromTheLoopAlone()
{
    wsconfig::WatchPolicy policy = Quick();
    policy.firstDeliveryMs = 0;
    return policy;
}

// Reads the request, sends an answer, and keeps the connection open.
inline ScriptedServer::Script Answer(const std::string &text)
{
    return [text](Connection &connection) {
        connection.ReadRequest();
        connection.Send(text);
        connection.WaitForEnd();
    };
}

// The same, but closes the connection at once.
inline ScriptedServer::Script AnswerAndClose(const std::string &text)
{
    return [text](Connection &connection) {
        connection.ReadRequest();
        connection.Send(text);
    };
}

inline const std::string kBoth = kEventStream + Event("24", "{}") + Event("19", "[]");

class WatchStreamFixture : public testing::Test
{
protected:
    ~WatchStreamFixture() override
    {
        mStream.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // A stream to the server. mSpy records its values.
    wsconfig::WatchStream &Make(const wsconfig::WatchPolicy &policy)
    {
        mStream = std::make_unique<wsconfig::WatchStream>(
            wsconfig::WatchTarget{
                QStringLiteral("127.0.0.1"), mServer.Port(), QStringLiteral("beacond"), {24, 19}},
            policy);
        mSpy = std::make_unique<QSignalSpy>(mStream.get(), &wsconfig::WatchStream::valueReceived);
        return *mStream;
    }

    // The values since the last call, as text.
    std::string Values()
    {
        std::string text;
        while (!mSpy->isEmpty()) {
            const QList<QVariant> value = mSpy->takeFirst();
            text += std::to_string(value.at(0).toInt()) + "=" +
                    value.at(1).toString().toStdString() + "|";
        }
        return text;
    }

    // Runs the event loop until mSpy has this number of values.
    void RunUntilValues(int count)
    {
        while (mSpy->count() < count && mSpy->wait(kGenerousMs)) {
        }
        EXPECT_GE(mSpy->count(), count);
    }

    // Runs the event loop until the server has accepted this number of connections.
    void RunUntilConnections(int count)
    {
        QTimer wake;
        wake.start(1);
        QElapsedTimer clock;
        clock.start();
        while (mServer.Connections() < count && clock.elapsed() < kGenerousMs) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        EXPECT_GE(mServer.Connections(), count);
    }

    // The output of a piece of code on standard error, without the server's address.
    // Standard output must stay empty.
    std::string Lines(const std::function<void()> &code)
    {
        const Output output = Capture(code);
        EXPECT_EQ(output.out, "");
        const std::string prefix = "WSConfig: 127.0.0.1:" + std::to_string(mServer.Port()) + ": ";
        std::string text;
        std::istringstream lines(output.err);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_EQ(line.substr(0, prefix.size()), prefix);
            text += line.substr(std::min(prefix.size(), line.size())) + "\n";
        }
        return text;
    }

    int mArgc = 1;
    std::array<char, 5> mName{"test"};
    char *mArgv = mName.data();
    QCoreApplication mApplication{mArgc, &mArgv};
    ScriptedServer mServer;
    std::unique_ptr<wsconfig::WatchStream> mStream;
    std::unique_ptr<QSignalSpy> mSpy;
};

} // namespace test
