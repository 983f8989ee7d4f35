#include "ssdp/search_target.h"

#include "support/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

using USNs = std::vector<std::string>;

const char *const kA = "uuid:65746500-A-192.0.2.10-0";
const char *const kB = "uuid:65746500-B-192.0.2.10-0";
const char *const kC = "uuid:65746500-C-192.0.2.10-0";

formats::SSDPDeviceMap Services()
{
    formats::SSDPDeviceMap services;
    const auto add = [&services](const std::string &product, const std::string &type) {
        SSDPDeviceType service = Device(product, "192.0.2.10", "studio-a");
        service.notificationType = type;
        services.emplace(service.usn, service);
    };
    add("C", "upnp:rootdevice");
    add("A", "upnp:rootdevice");
    add("B", "urn:vex-com:service:BasicService");
    return services;
}

USNs Answers(const formats::SSDPDeviceMap &services, const std::string &target)
{
    USNs answers;
    for (const SSDPDeviceType *service : ssdp::MatchSearchTarget(services, target)) {
        answers.push_back(service->usn);
    }
    return answers;
}

USNs Answers(const std::string &target)
{
    return Answers(Services(), target);
}

} // namespace

TEST(SearchTarget, AllMatchesEveryServiceInOrderOfUSN)
{
    EXPECT_THAT(Answers("ssdp:all"), ElementsAre(kA, kB, kC));
    EXPECT_EQ(Answers({}, "ssdp:all"), USNs{});
}

TEST(SearchTarget, AllMustMatchExactly)
{
    for (const char *target : {"SSDP:ALL", "ssdp:all ", "ssdp:al", "ssdp:all:1", " ssdp:all"}) {
        EXPECT_EQ(Answers(target), USNs{}) << target;
    }
}

TEST(SearchTarget, USNMatchesTheServiceWithExactlyThisUSN)
{
    EXPECT_THAT(Answers(kB), ElementsAre(kB));
    EXPECT_EQ(Answers("uuid:65746500-b-192.0.2.10-0"), USNs{});
    EXPECT_EQ(Answers("uuid:65746500-B-192.0.2.10"), USNs{});
    EXPECT_EQ(Answers(std::string(kB) + "::upnp:rootdevice"), USNs{});
}

TEST(SearchTarget, TargetWithUuidIsNotComparedWithTypes)
{
    formats::SSDPDeviceMap services = Services();
    services.begin()->second.notificationType = "x-uuid:y";
    EXPECT_EQ(Answers(services, "x-uuid:y"), USNs{});
    EXPECT_EQ(Answers(services, "x-uuid:y:1"), USNs{});
    services.begin()->second.notificationType = "uuid:y";
    EXPECT_EQ(Answers(services, "uuid:y"), USNs{});
}

TEST(SearchTarget, VersionAfterAUSNIsNotCutOff)
{
    formats::SSDPDeviceMap services = Services();
    services.begin()->second.usn = "uuid:y:1";
    EXPECT_THAT(Answers(services, "uuid:y:1"), ElementsAre("uuid:y:1"));
    services.begin()->second.usn = "uuid:y";
    EXPECT_EQ(Answers(services, "uuid:y:1"), USNs{});
}

TEST(SearchTarget, UuidAloneIsComparedAsAType)
{
    formats::SSDPDeviceMap services = Services();
    services.begin()->second.notificationType = "uuid:";
    EXPECT_THAT(Answers(services, "uuid:"), ElementsAre(kA));
}

TEST(SearchTarget, TypeMatchesEveryServiceOfExactlyThisType)
{
    EXPECT_THAT(Answers("upnp:rootdevice"), ElementsAre(kA, kC));
    EXPECT_EQ(Answers("upnp:RootDevice"), USNs{});
    EXPECT_EQ(Answers("upnp:rootdevic"), USNs{});
    EXPECT_EQ(Answers("x"), USNs{});
}

TEST(SearchTarget, VersionOfOneDigitIsCutOff)
{
    EXPECT_THAT(Answers("upnp:rootdevice:1"), ElementsAre(kA, kC));
    EXPECT_THAT(Answers("urn:vex-com:service:BasicService:0"), ElementsAre(kB));
    EXPECT_THAT(Answers("urn:vex-com:service:BasicService:9"), ElementsAre(kB));
}

TEST(SearchTarget, TypeWithAnotherEndingIsNotFound)
{
    for (const char *target : {"upnp:rootdevice:10", "upnp:rootdevice:x", "upnp:rootdevice:",
                               "upnp:rootdevice1", "upnp:rootdevice:1:1", "upnp:rootdevice:/"}) {
        EXPECT_EQ(Answers(target), USNs{}) << target;
    }
}

TEST(SearchTarget, TypeStoredWithAVersionOfOneDigitIsNotFound)
{
    formats::SSDPDeviceMap services = Services();
    services.begin()->second.notificationType = "upnp:rootdevice:1";
    EXPECT_THAT(Answers(services, "upnp:rootdevice:1"), ElementsAre(kC));
    services.begin()->second.notificationType = "upnp:rootdevice:10";
    EXPECT_THAT(Answers(services, "upnp:rootdevice:10"), ElementsAre(kA));
}

TEST(SearchTarget, ShortestTargetsAreComparedLikeAnyOther)
{
    formats::SSDPDeviceMap services = Services();
    services.begin()->second.notificationType = "";
    EXPECT_THAT(Answers(services, ""), ElementsAre(kA));
    EXPECT_THAT(Answers(services, ":1"), ElementsAre(kA));
    EXPECT_EQ(Answers(services, ":"), USNs{});
    EXPECT_EQ(Answers(services, "1"), USNs{});
}
