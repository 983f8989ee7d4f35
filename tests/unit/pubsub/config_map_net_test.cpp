#include "pubsub/config_map.h"

#include "support/application.h"
#include "support/capture.h"
#include "support/config_service.h"

#include <QSignalSpy>
#include <gtest/gtest.h>
#include <memory>

Q_DECLARE_METATYPE(ConfigMap::ParamId)

using test::Device;
using Texts = std::vector<std::string>;

namespace {

constexpr int kSystem = 24;
constexpr int kDevices = 19;

class Config : public testing::Test
{
protected:
    Config() { qRegisterMetaType<ConfigMap::ParamId>("ConfigMap::ParamId"); }

    // Starts a watch. The service has these first values.
    void Watch(const std::string &system, const std::string &devices)
    {
        mService = std::make_unique<test::ConfigService>(system, devices);
        mSpy = std::make_unique<QSignalSpy>(
            &mMap, SIGNAL(paramChanged(int, ConfigMap::ParamId, const QString &, bool)));
        mMap.startWatch();
    }

    void WatchUsual()
    {
        Watch(R"({"hostName":"alpha","ssdpEnable":true})",
              "[" + Device("Idle", true, "192.0.2.10") + "," +
                  Device("Complete", false, "192.0.2.90") + "," +
                  Device("Failed", true, "192.0.2.91") + "]");
    }

    // The signals after one value of the service, as "slot parameter text boolean". A second
    // value with a known signal marks their end.
    Texts SignalsOf(int param, const std::string &json)
    {
        const std::string mark = "mark" + std::to_string(++mMarks);
        const std::string last = "0 1 " + mark + " false";
        mService->Send(param, json);
        mService->Send(kSystem, R"({"hostName":")" + mark + R"("})");
        Texts texts;
        while (texts.empty() || texts.back() != last) {
            if (mSpy->isEmpty() && !mSpy->wait(20000)) {
                ADD_FAILURE() << "no signal of the mark";
                return texts;
            }
            texts.push_back(Text(mSpy->takeFirst()));
        }
        texts.pop_back();
        return texts;
    }

    static std::string Text(const QList<QVariant> &signal)
    {
        return std::to_string(signal.at(0).toInt()) + " " +
               std::to_string(signal.at(1).value<ConfigMap::ParamId>()) + " " +
               signal.at(2).toString().toStdString() + " " +
               (signal.at(3).toBool() ? "true" : "false");
    }

    std::string String(int slot, ConfigMap::ParamId id)
    {
        return mMap.getString(slot, id).toStdString();
    }

    test::Application mApplication;
    std::unique_ptr<test::ConfigService> mService;
    ConfigMap mMap;
    std::unique_ptr<QSignalSpy> mSpy;
    int mMarks = 0;
};

} // namespace

TEST_F(Config, AMalformedDeviceKeepsItsSettingsWithoutASignal)
{
    WatchUsual();
    for (const char *list :
         {"[7]", "[{}]", R"([{"activeParams":{},"status":{}}])", R"([{"status":"Complete"}])",
          R"([{"activeParams":{"address":7},)"
          R"("status":{"interfaceSetupState":"complete","connected":"false"}}])"}) {
        EXPECT_EQ(SignalsOf(kDevices, list), Texts{}) << list;
    }
    EXPECT_EQ(String(0, ConfigMap::InterfaceSetupState), "Idle");
    EXPECT_TRUE(mMap.getBool(0, ConfigMap::Connected));
    EXPECT_EQ(String(0, ConfigMap::Address), "192.0.2.10");
}

TEST_F(Config, ARemovedAddressIsReported)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Idle", true, "") + "]"), Texts{"0 0  true"});
    EXPECT_EQ(String(0, ConfigMap::Address), "");
}

TEST_F(Config, IsEmptyBeforeTheWatch)
{
    for (int slot = 0; slot < 3; ++slot) {
        EXPECT_EQ(String(slot, ConfigMap::Address), "");
        EXPECT_EQ(String(slot, ConfigMap::InterfaceSetupState), "");
        EXPECT_FALSE(mMap.getBool(slot, ConfigMap::Connected));
    }
    EXPECT_EQ(String(0, ConfigMap::HostName), "");
    EXPECT_FALSE(mMap.getBool(0, ConfigMap::SsdpEnable));
}

TEST_F(Config, NamesItselfAndTheTwoParametersToTheService)
{
    WatchUsual();
    const std::string request = mService->Request();
    EXPECT_EQ(request.substr(0, request.find("\r\n")),
              "GET /api/v1/watch?system=beacond&params=24,19 HTTP/1.1");
}

TEST_F(Config, KeepsTheFirstValuesWithoutASignal)
{
    WatchUsual();
    EXPECT_EQ(mSpy->count(), 0);
    EXPECT_EQ(String(0, ConfigMap::HostName), "alpha");
    EXPECT_TRUE(mMap.getBool(0, ConfigMap::SsdpEnable));
    EXPECT_EQ(String(0, ConfigMap::Address), "192.0.2.10");
    EXPECT_EQ(String(1, ConfigMap::Address), "192.0.2.90");
    EXPECT_EQ(String(2, ConfigMap::Address), "192.0.2.91");
    EXPECT_EQ(String(0, ConfigMap::InterfaceSetupState), "Idle");
    EXPECT_EQ(String(1, ConfigMap::InterfaceSetupState), "Complete");
    EXPECT_EQ(String(2, ConfigMap::InterfaceSetupState), "Failed");
    EXPECT_TRUE(mMap.getBool(0, ConfigMap::Connected));
    EXPECT_FALSE(mMap.getBool(1, ConfigMap::Connected));
    EXPECT_TRUE(mMap.getBool(2, ConfigMap::Connected));
}

TEST_F(Config, ReadsHostNameAndSwitchWhateverTheSlot)
{
    WatchUsual();
    EXPECT_EQ(String(7, ConfigMap::HostName), "alpha");
    EXPECT_TRUE(mMap.getBool(-1, ConfigMap::SsdpEnable));
}

TEST_F(Config, IsEmptyForParametersOfTheOtherType)
{
    WatchUsual();
    EXPECT_EQ(String(0, ConfigMap::SsdpEnable), "");
    EXPECT_EQ(String(0, ConfigMap::Connected), "");
    EXPECT_FALSE(mMap.getBool(0, ConfigMap::HostName));
    EXPECT_FALSE(mMap.getBool(0, ConfigMap::Address));
}

TEST_F(Config, ReportsAChangedHostNameOnce)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kSystem, R"({"hostName":"beta"})"), Texts{"0 1 beta false"});
    ASSERT_EQ(String(0, ConfigMap::HostName), "mark1");
    EXPECT_EQ(SignalsOf(kSystem, R"({"hostName":"mark1","ssdpEnable":true})"), Texts());
}

TEST_F(Config, ComparesHostNamesExactly)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kSystem, R"({"hostName":"Alpha"})"), Texts{"0 1 Alpha false"});
    EXPECT_EQ(SignalsOf(kSystem, R"({"hostName":""})"), Texts{"0 1  false"});
    EXPECT_EQ(SignalsOf(kSystem, "{\"hostName\":\"K\xC3\xB6ln\"}"), Texts{"0 1 K\xC3\xB6ln false"});
}

TEST_F(Config, ReportsTheSwitchWithAnEmptyText)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kSystem, R"({"ssdpEnable":false})"), Texts{"0 3  false"});
    EXPECT_FALSE(mMap.getBool(0, ConfigMap::SsdpEnable));
    EXPECT_EQ(SignalsOf(kSystem, R"({"ssdpEnable":false})"), Texts());
    EXPECT_EQ(SignalsOf(kSystem, R"({"ssdpEnable":true})"), Texts{"0 3  true"});
}

TEST_F(Config, ReportsHostNameBeforeTheSwitch)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kSystem, R"({"ssdpEnable":false,"hostName":"beta"})"),
              (Texts{"0 1 beta false", "0 3  false"}));
}

TEST_F(Config, KeepsSettingsThatAreAbsentOrOfAnotherType)
{
    WatchUsual();
    for (const char *json : {"{}", R"({"hostName":7,"ssdpEnable":"no"})",
                             R"({"hostName":null,"ssdpEnable":null})", R"(["hostName"])"}) {
        EXPECT_EQ(SignalsOf(kSystem, json), Texts()) << json;
        EXPECT_TRUE(mMap.getBool(0, ConfigMap::SsdpEnable)) << json;
    }
}

TEST_F(Config, DropsMalformedJson)
{
    WatchUsual();
    const test::Output output = test::Capture([this] {
        EXPECT_EQ(SignalsOf(kSystem, R"({"hostName":"beta")"), Texts());
        EXPECT_EQ(SignalsOf(kDevices, R"([{"status":)"), Texts());
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(String(0, ConfigMap::Address), "192.0.2.10");
}

TEST_F(Config, ReportsStateConnectionAndAddressOfTheFirstDeviceInThatOrder)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Complete", false, "192.0.2.11") + "]"),
              (Texts{"0 2 Complete false", "0 4  false", "0 0  true"}));
    EXPECT_EQ(String(0, ConfigMap::InterfaceSetupState), "Complete");
    EXPECT_FALSE(mMap.getBool(0, ConfigMap::Connected));
    EXPECT_EQ(String(0, ConfigMap::Address), "192.0.2.11");
}

TEST_F(Config, ReportsStateConnectionAndAddressSeparately)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Complete", true, "192.0.2.11") + "]"),
              (Texts{"0 2 Complete false", "0 0  true"}));
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Preparing", true, "192.0.2.11") + "]"),
              Texts{"0 2 Preparing false"});
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Preparing", false, "192.0.2.11") + "]"),
              Texts{"0 4  false"});
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Preparing", false, "") + "]"), Texts{"0 0  true"});
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Preparing", false, "") + "]"), Texts());
}

TEST_F(Config, KeepsTheOtherDevicesWithoutASignal)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kDevices, "[" + Device("Idle", true, "192.0.2.10") + "," +
                                      Device("Idle", true, "192.0.2.70") + "," +
                                      Device("Idle", false, "192.0.2.71") + "]"),
              Texts());
    EXPECT_EQ(String(1, ConfigMap::InterfaceSetupState), "Idle");
    EXPECT_TRUE(mMap.getBool(1, ConfigMap::Connected));
    EXPECT_EQ(String(1, ConfigMap::Address), "192.0.2.70");
    EXPECT_FALSE(mMap.getBool(2, ConfigMap::Connected));
    EXPECT_EQ(String(2, ConfigMap::Address), "192.0.2.71");
}

TEST_F(Config, KeepsTheSlotsThatAShorterListDoesNotHave)
{
    WatchUsual();
    EXPECT_EQ(SignalsOf(kDevices, "[]"), Texts());
    EXPECT_EQ(String(0, ConfigMap::Address), "192.0.2.10");
    EXPECT_EQ(String(2, ConfigMap::Address), "192.0.2.91");
}

TEST_F(Config, IgnoresDevicesAfterTheThird)
{
    WatchUsual();
    std::string devices = "[" + Device("Idle", true, "192.0.2.10");
    for (int more = 0; more < 50; ++more) {
        devices += "," + Device("Complete", true, "192.0.2.5");
    }
    EXPECT_EQ(SignalsOf(kDevices, devices + "]"), Texts());
    EXPECT_EQ(String(2, ConfigMap::Address), "192.0.2.5");
    EXPECT_EQ(String(0, ConfigMap::Address), "192.0.2.10");
    EXPECT_EQ(String(0, ConfigMap::HostName), "mark1");
}
