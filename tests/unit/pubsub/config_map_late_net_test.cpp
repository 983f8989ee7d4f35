// A separate program, because it takes five seconds, the longest wait of a watch.
#include "pubsub/config_map.h"

#include "support/application.h"
#include "support/config_service.h"

#include <QSignalSpy>
#include <array>
#include <gtest/gtest.h>

Q_DECLARE_METATYPE(ConfigMap::ParamId)

TEST(LateService, ValuesThatComeAfterTheWaitAreReportedAsChanges)
{
    qRegisterMetaType<ConfigMap::ParamId>("ConfigMap::ParamId");
    const test::Application application;
    ConfigMap map;
    QSignalSpy spy(&map, SIGNAL(paramChanged(int, ConfigMap::ParamId, const QString &, bool)));
    map.startWatch();
    EXPECT_EQ(map.getString(0, ConfigMap::HostName), QString());
    const test::ConfigService service(R"({"hostName":"alpha","ssdpEnable":true})",
                                      "[" + test::Device("Complete", true, "192.0.2.10") + "]");
    while (spy.count() < 5 && spy.wait(20000)) {
    }
    ASSERT_EQ(spy.count(), 5);
    const std::array<int, 5> order{ConfigMap::HostName, ConfigMap::SsdpEnable,
                                   ConfigMap::InterfaceSetupState, ConfigMap::Connected,
                                   ConfigMap::Address};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(spy.at(i).at(1).value<ConfigMap::ParamId>(), order.at(static_cast<size_t>(i)));
    }
    EXPECT_EQ(map.getString(0, ConfigMap::Address), QStringLiteral("192.0.2.10"));
}
