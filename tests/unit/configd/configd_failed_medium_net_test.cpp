#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fstream>
#include <gtest/gtest.h>

// The settings' folder is missing, read-only or fails, and comes back.
namespace test {
namespace {

const std::string kSystem = "/api/v1/system";
const std::string kDevices = "/api/v1/network/devices";
const std::string kFolder = "/var/lib/beacon-configd";
const std::string kStateFile = kFolder + "/system.json";
const std::string kDevicesFile = kFolder + "/devices.json";
const std::string kNoFolder = "cannot write " + kStateFile + ": No such file or directory";
const std::string kStored = R"({"hostName":"alpha","ssdpEnable":false})";
const std::string kBeta = R"({"hostName":"beta"})";

class FailedMedium : public testing::Test
{
protected:
    FailedMedium() { OnHost("mkdir -p /var/away " + kFolder); }
    ~FailedMedium() override
    {
        OnHost("umount " + kFolder + " 2>/dev/null; rm -rf /var/away " + kFolder);
    }

    // The folder with the settings comes back in one step, as by a mount.
    static void BringBack(const std::string &settings)
    {
        std::ofstream("/var/away/system.json") << settings;
        OnHost("mv /var/away " + kFolder);
    }

    static std::string Defaults()
    {
        std::array<char, 256> name{};
        gethostname(name.data(), name.size() - 1);
        return std::string(R"({"hostName":")") + name.data() + R"(","ssdpEnable":true})";
    }

    static std::string Line(const std::string &fault)
    {
        return "beacon-configd: " + fault + "; using the defaults, refusing changes\n";
    }

    static void ExpectRefusal(const std::string &fault)
    {
        const Answer answer = Ask("PATCH", kSystem, kBeta);
        EXPECT_EQ(answer.status, "503 Service Unavailable");
        EXPECT_EQ(answer.body, R"({"error":")" + fault + "\"}");
    }

    // Expects that the service starts with the defaults, writes one line and refuses changes.
    static void ExpectDefaults(const std::string &fault)
    {
        Service service;
        EXPECT_EQ(Ask("GET", kSystem).body, Defaults());
        ExpectRefusal(fault);
        EXPECT_EQ(Ask("GET", kSystem).body, Defaults());
        EXPECT_EQ(service.Stop(), 0);
        EXPECT_EQ(service.Child().Err(), Line(fault));
        EXPECT_EQ(service.Child().Out(), Service::kStarted);
    }
};

TEST_F(FailedMedium, WithoutItsFolderItServesTheDefaultsAndSaysSoOnOneLine)
{
    OnHost("rmdir " + kFolder);
    ExpectDefaults(kNoFolder);
}

TEST_F(FailedMedium, WithAnEmptyReadOnlyFolderItServesTheDefaultsAndSaysSoOnOneLine)
{
    OnHost("mount -t tmpfs -o ro tmpfs " + kFolder);
    ExpectDefaults("cannot write " + kStateFile + ": Read-only file system");
}

TEST_F(FailedMedium, OnAFaultOfTheMediumItServesTheDefaultsAndSaysSoOnOneLine)
{
    OnHost("ln -s /proc/self/mem " + kStateFile); // reading fails: page 0 is not mapped
    ExpectDefaults("cannot read " + kStateFile + ": Input/output error");
}

TEST_F(FailedMedium, WithAFolderInThePlaceOfTheFileItServesTheDefaultsAndSaysSoOnOneLine)
{
    OnHost("mkdir " + kStateFile);
    ExpectDefaults("cannot read " + kStateFile + ": Is a directory");
}

TEST_F(FailedMedium, TakesChangesOnceTheFolderIsThere)
{
    OnHost("rmdir " + kFolder);
    Service service;
    ExpectRefusal(kNoFolder);
    OnHost("mkdir " + kFolder);
    const Answer answer = Ask("PATCH", kSystem, kBeta);
    EXPECT_EQ(answer.status, "200 OK");
    EXPECT_EQ(answer.body, R"({"hostName":"beta","ssdpEnable":true})");
    OnHost("grep -q beta " + kStateFile);
}

TEST_F(FailedMedium, ServesTheStoredSettingsSoonAfterTheyAreBackWithoutARequest)
{
    OnHost("rmdir " + kFolder);
    Service service;
    Stream stream("?params=24");
    EXPECT_EQ(stream.Next(), SystemEvent(Defaults()));
    BringBack(kStored);
    EXPECT_EQ(stream.SkipTo(SystemEvent(kStored)), SystemEvent(kStored));
}

TEST_F(FailedMedium, AppliesAChangeToTheStoredSettingsThatAreBack)
{
    OnHost("rmdir " + kFolder);
    Service service;
    ExpectRefusal(kNoFolder);
    BringBack(kStored);
    EXPECT_EQ(Ask("PATCH", kSystem, kBeta).body, R"({"hostName":"beta","ssdpEnable":false})");
}

TEST_F(FailedMedium, EndsWithStatusThreeWhenADamagedFileComesBack)
{
    OnHost("rmdir " + kFolder);
    Service service;
    BringBack("{");
    EXPECT_EQ(service.Child().WaitForEnd(), 3);
    EXPECT_EQ(service.Child().Err(), Line(kNoFolder) + "beacon-configd: " + kStateFile +
                                         ": line 1, column 2: malformed JSON\n");
}

TEST_F(FailedMedium, KeepsItsSettingsWhenTheFolderDisappearsWhileItRuns)
{
    std::ofstream(kStateFile) << kStored;
    Service service;
    OnHost("rmdir /var/away && mv " + kFolder + " /var/away");
    ExpectRefusal(kNoFolder);
    EXPECT_EQ(Ask("GET", kSystem).body, kStored);
    OnHost("mv /var/away " + kFolder);
    EXPECT_EQ(Ask("PATCH", kSystem, kBeta).body, R"({"hostName":"beta","ssdpEnable":false})");
    EXPECT_EQ(service.Stop(), 0);
    EXPECT_EQ(service.Child().Err(), "");
}

TEST_F(FailedMedium, ServesTheSettingsOfAReadOnlyMediumAndRefusesChanges)
{
    OnHost("mount -t tmpfs tmpfs " + kFolder);
    std::ofstream(kStateFile) << kStored;
    OnHost("mount -o remount,bind,ro " + kFolder);
    Service service;
    EXPECT_EQ(Ask("GET", kSystem).body, kStored);
    ExpectRefusal("cannot write " + kStateFile + ": Read-only file system");
    EXPECT_EQ(service.Stop(), 0);
    EXPECT_EQ(service.Child().Err(), "");
}

TEST_F(FailedMedium, DevicesThatClientsSetAreTreatedAlike)
{
    const std::string device = R"([{"name":"net0","activeParams":{"address":""},)"
                               R"("status":{"interfaceSetupState":"Idle","connected":false}}])";
    OnHost("rmdir " + kFolder);
    Service service({"--devices", kDevicesFile});
    EXPECT_EQ(Ask("GET", kDevices).body, "[]");
    const Answer refused = Ask("PUT", kDevices, device);
    EXPECT_EQ(refused.status, "503 Service Unavailable");
    const std::string fault = "cannot write " + kDevicesFile + ": No such file or directory";
    EXPECT_EQ(refused.body, R"({"error":")" + fault + "\"}");
    std::ofstream("/var/away/devices.json") << device;
    BringBack(kStored);
    EXPECT_EQ(Ask("GET", kDevices).body, device);
    EXPECT_EQ(Ask("PUT", kDevices, "[]").status, "200 OK");
    EXPECT_EQ(service.Stop(), 0);
    EXPECT_EQ(service.Child().Err(), Line(kNoFolder) + Line(fault));
}

} // namespace
} // namespace test
