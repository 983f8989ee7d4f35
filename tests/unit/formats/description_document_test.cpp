#include "formats/description_document.h"

#include "support/records.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr const char *kMakerURL = "http://www.vexwell.example/";

} // namespace

TEST(DescriptionFileName, IsTheLoweredProductNameTheNumberAndXml)
{
    EXPECT_EQ(formats::DescriptionFileName("Model One X", 3), "model_one_x_upnp_ssdp_3.xml");
    EXPECT_EQ(formats::DescriptionFileName("ZR1", 4294967294U), "zr1_upnp_ssdp_4294967294.xml");
    EXPECT_EQ(formats::DescriptionFileName("", 1), "_upnp_ssdp_1.xml");
}

TEST(DescriptionFileName, ChangesOnlySpacesAndAsciiCapitals)
{
    EXPECT_EQ(formats::DescriptionFileName("  AZ@[`az{9-_.\t\xc3\x96", 1),
              "__az@[`az{9-_.\t\xc3\x96_upnp_ssdp_1.xml");
}

TEST(ComposeDescription, IsThisDocument)
{
    SSDPDeviceType service = FullRecord();
    EXPECT_EQ(formats::ComposeDescription(service, "corvia_12_upnp_ssdp_1.xml", kMakerURL),
              R"(<?xml version="1.0"?>
<root xmlns="urn:schemas-upnp-org:device-1-0">
  <specVersion>
    <major>1</major>
    <minor>0</minor>
  </specVersion>
  <device>
    <deviceType>urn:schemas-upnp-org:device:Basic:1</deviceType>
    <friendlyName>studio-a</friendlyName>
    <manufacturer>Vexwell Devices</manufacturer>
    <manufacturerURL>http://www.vexwell.example/</manufacturerURL>
    <modelDescription>HD recorder</modelDescription>
    <modelName>Corvia 12 Plus</modelName>
    <modelNumber>0x10650001</modelNumber>
    <modelURL>http://www.vexwell.example/en/products/Corvia 12 Plus</modelURL>
    <serialNumber>4242</serialNumber>
    <UDN>uuid:65746500-Corvia 12-192.0.2.10-0</UDN>
    <serviceList>
      <service>
        <serviceType>urn:vex-com:service:BasicService:1</serviceType>
        <serviceId>urn:vex-com:serviceId:BasicServiceId</serviceId>
        <SCPDURL>corvia_12_upnp_ssdp_1.xml</SCPDURL>
        <controlURL>/upnp/control/BasicServiceId</controlURL>
        <eventSubURL>/upnp/event/BasicServiceId</eventSubURL>
      </service>
    </serviceList>
    <presentationURL>http://192.0.2.10:80/index.html</presentationURL>
  </device>
  <URLBase>http://192.0.2.10:80/</URLBase>
</root>
)");
}

TEST(ComposeDescription, OfAnEmptyRecordHasAllElements)
{
    EXPECT_EQ(formats::ComposeDescription({}, "", ""),
              R"(<?xml version="1.0"?>
<root xmlns="urn:schemas-upnp-org:device-1-0">
  <specVersion>
    <major>1</major>
    <minor>0</minor>
  </specVersion>
  <device>
    <deviceType>urn:schemas-upnp-org:device:Basic:1</deviceType>
    <friendlyName></friendlyName>
    <manufacturer>Vexwell Devices</manufacturer>
    <manufacturerURL></manufacturerURL>
    <modelDescription></modelDescription>
    <modelName></modelName>
    <modelNumber></modelNumber>
    <modelURL>en/products/</modelURL>
    <serialNumber></serialNumber>
    <UDN></UDN>
    <serviceList>
      <service>
        <serviceType>urn:vex-com:service:BasicService:1</serviceType>
        <serviceId>urn:vex-com:serviceId:BasicServiceId</serviceId>
        <SCPDURL></SCPDURL>
        <controlURL>/upnp/control/BasicServiceId</controlURL>
        <eventSubURL>/upnp/event/BasicServiceId</eventSubURL>
      </service>
    </serviceList>
    <presentationURL>http://:80/index.html</presentationURL>
  </device>
  <URLBase>http://:80/</URLBase>
</root>
)");
}

TEST(ComposeDescription, InsertsValuesWithoutEscaping)
{
    SSDPDeviceType service = FullRecord();
    service.hostName = "a<b>&\"c\" %s";
    const std::string document = formats::ComposeDescription(service, "a.xml", kMakerURL);
    EXPECT_NE(document.find("    <friendlyName>a<b>&\"c\" %s</friendlyName>\n"), std::string::npos);
}

TEST(DescriptionResponse, HasItsExactSizeForTheLongestModelName)
{
    SSDPDeviceType service = Device("Corvia 12 Plus", "192.0.2.10", "studio-a");
    service.modelNumber = "0x10650002";
    service.modelDescription = "HD recorder";
    service.serialNumber = "123456789";
    const std::string document =
        formats::ComposeDescription(service, "corvia_12_plus_upnp_ssdp_1.xml", kMakerURL);
    EXPECT_EQ(document.size(), 1218U);
    EXPECT_EQ(formats::ComposeGETResponse(document, document.size()).size(), 1324U);
}
