#include "formats/description_document.h"

#include "formats/ssdp_headers.h"
#include "vexbase/vex_text.h"

namespace formats {
namespace {

// The value of an element: the text after the first occurrence of its name and one more
// byte (the bracket), up to its next closing tag.
std::optional<std::string_view> Element(std::string_view text, std::string_view name)
{
    const std::size_t mark = text.find(name);
    if (mark == std::string_view::npos || mark + name.size() == text.size()) {
        return std::nullopt;
    }
    text.remove_prefix(mark + name.size() + 1);
    const std::size_t end = text.find(vexbase::Concat({"</", name}));
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return text.substr(0, end);
}

std::string ElementText(std::string_view text, std::string_view name)
{
    return std::string(Element(text, name).value_or(std::string_view()));
}

// The address in a presentationURL: between "http://" and ":80/index.html".
std::string AddressOfPresentationURL(std::string_view url)
{
    constexpr std::string_view kScheme = "http://";
    const std::size_t scheme = url.find(kScheme);
    if (scheme == std::string_view::npos) {
        return {};
    }
    url.remove_prefix(scheme + kScheme.size());
    const std::size_t port = url.find(":80/index.html");
    return port == std::string_view::npos ? std::string() : std::string(url.substr(0, port));
}

// The text after the last "-" of a UDN; empty if it has none.
std::string InstanceOfUDN(std::string_view udn)
{
    const std::size_t dash = udn.rfind('-');
    return dash == std::string_view::npos ? std::string() : std::string(udn.substr(dash + 1));
}

} // namespace

std::string DescriptionFileName(std::string_view productName, std::uint32_t number)
{
    std::string slug(productName);
    for (char &c : slug) {
        c = c == ' ' ? '_' : vexbase::LowerASCII(c);
    }
    return vexbase::Concat({slug, "_upnp_ssdp_", std::to_string(number), ".xml"});
}

std::string ComposeDescription(const SSDPDeviceType &service, std::string_view fileName,
                               std::string_view makerURL)
{
    // NOLINTBEGIN(bugprone-suspicious-missing-comma): adjacent lines are one text
    return vexbase::Concat(
        {"<?xml version=\"1.0\"?>\n"
         "<root xmlns=\"urn:schemas-upnp-org:device-1-0\">\n"
         "  <specVersion>\n"
         "    <major>1</major>\n    <minor>0</minor>\n"
         "  </specVersion>\n"
         "  <device>\n"
         "    <deviceType>urn:schemas-upnp-org:device:Basic:1</deviceType>\n"
         "    <friendlyName>",
         service.hostName,
         "</friendlyName>\n"
         "    <manufacturer>Vexwell Devices</manufacturer>\n"
         "    <manufacturerURL>",
         makerURL,
         "</manufacturerURL>\n"
         "    <modelDescription>",
         service.modelDescription,
         "</modelDescription>\n"
         "    <modelName>",
         service.modelName,
         "</modelName>\n"
         "    <modelNumber>",
         service.modelNumber,
         "</modelNumber>\n"
         "    <modelURL>",
         makerURL,
         "en/products/",
         service.modelName,
         "</modelURL>\n"
         "    <serialNumber>",
         service.serialNumber,
         "</serialNumber>\n"
         "    <UDN>",
         service.usn,
         "</UDN>\n"
         "    <serviceList>\n"
         "      <service>\n"
         "        <serviceType>urn:vex-com:service:BasicService:1</serviceType>\n"
         "        <serviceId>urn:vex-com:serviceId:BasicServiceId</serviceId>\n"
         "        <SCPDURL>",
         fileName,
         "</SCPDURL>\n"
         "        <controlURL>/upnp/control/BasicServiceId</controlURL>\n"
         "        <eventSubURL>/upnp/event/BasicServiceId</eventSubURL>\n"
         "      </service>\n"
         "    </serviceList>\n"
         "    <presentationURL>http://",
         service.ipAddress,
         ":80/index.html</presentationURL>\n"
         "  </device>\n"
         "  <URLBase>http://",
         service.ipAddress,
         ":80/</URLBase>\n"
         "</root>\n"});
    // NOLINTEND(bugprone-suspicious-missing-comma)
}

std::optional<SSDPDeviceType> ReadDescription(std::string_view response)
{
    const std::optional<std::string_view> friendlyName = Element(response, "friendlyName");
    const std::optional<std::string_view> udn = Element(response, "UDN");
    if (!friendlyName || !udn || udn->empty()) {
        return std::nullopt;
    }
    SSDPDeviceType device;
    device.hostName = *friendlyName;
    device.usn = *udn;
    device.instance = InstanceOfUDN(*udn);
    device.modelName = ElementText(response, "modelName");
    device.productName = device.modelName;
    device.modelNumber = ElementText(response, "modelNumber");
    device.modelDescription = ElementText(response, "modelDescription");
    device.ipAddress = AddressOfPresentationURL(ElementText(response, "presentationURL"));
    GetMaximumAgeString(response, device.maxAge);
    return device;
}

bool AddressOfLocation(std::string_view url, std::string &address)
{
    constexpr std::string_view kScheme = "http://";
    const std::size_t scheme = url.find(kScheme);
    if (scheme == std::string_view::npos) {
        return false;
    }
    url.remove_prefix(scheme + kScheme.size());
    const std::size_t port = url.find(":80");
    if (port == std::string_view::npos) {
        return false;
    }
    address = url.substr(0, port);
    return true;
}

std::string ComposeGETRequest(std::string_view url, std::string_view address)
{
    return vexbase::Concat({"GET ", url, " HTTP/1.1\r\nHOST:", address, ":1900\r\n\r\n"});
}

std::string_view RequestedName(std::string_view request)
{
    constexpr std::string_view kEnding = "xml";
    const std::size_t ending = request.find(kEnding);
    if (ending == std::string_view::npos) {
        return {};
    }
    request = request.substr(0, ending + kEnding.size());
    const std::size_t slash = request.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : request.substr(slash);
}

std::string ComposeGETResponse(std::string_view document, std::uint64_t size)
{
    return vexbase::Concat(
        {"HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: ", std::to_string(size),
         "\r\nCONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n", document, "\r\n\r\n"});
}

} // namespace formats
