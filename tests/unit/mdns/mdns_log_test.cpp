#include "fresh_mdns.h"

#include <QLoggingCategory>

namespace {

void writeMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    EXPECT_EQ(type, QtDebugMsg);
    std::fprintf(stderr, "%s: %s\n", context.category, message.toUtf8().constData());
}

TEST(Mdns, LogsItsStepsWhenDebuggingIsOn)
{
    const test::Output output = inFreshProcess([] {
        qInstallMessageHandler(writeMessage);
        QLoggingCategory::setFilterRules(QStringLiteral("beacond.mdns.debug=true"));
        Mdns &mdns = published();
        mdns.unpublishMdnsEntry("_ftp._tcp", 21);
        mdns.ipChanged();
    });
    EXPECT_EQ(output.err, "avahi host/service updating to: studio-a\n"
                          "beacond.mdns: publishing _http._tcp 80\n"
                          "beacond.mdns: Adding service studio-a _http._tcp\n"
                          "beacond.mdns: unpublishing _ftp._tcp 21\n"
                          "beacond.mdns: ip changed\n"
                          "beacond.mdns: Adding service studio-a _http._tcp\n");
}

TEST(Mdns, LogsThatTheClientRunsWhenDebuggingIsOn)
{
    const test::Output output = inFreshProcess([] {
        Mdns::getInstance()->publishMdnsEntry(kHttp, 80, kTxt);
        initialised();
        qInstallMessageHandler(writeMessage);
        QLoggingCategory::setFilterRules(QStringLiteral("beacond.mdns.debug=true"));
        fake::clientState(AVAHI_CLIENT_S_RUNNING);
    });
    EXPECT_EQ(output.err, "attempt to create services before init finished\n"
                          "avahi host/service updating to: studio-a\n"
                          "beacond.mdns: client running\n"
                          "beacond.mdns: Adding service studio-a _http._tcp\n");
}

} // namespace
