#include "formats/description_document.h"

#include "formats/max_age.h"
#include "vexbase/vex_text.h"

namespace formats {
namespace {

// The value of an element: from one byte behind the first occurrence of its
// name, which skips the closing bracket, to its next closing tag.
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

// What stands behind the last "-" of a UDN; nothing when it has none.
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
        if (c == ' ') {
            c = '_';
        } else if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return vexbase::Concat({slug, "_upnp_ssdp_", std::to_string(number), ".xml"});
}

std::string ComposeDescription(const SSDPDeviceType &service, std::string_view fileName,
                               std::string_view makerURL)
{
    // NOLINTBEGIN(bugprone-suspicious-missing-comma): lines that belong together are one text
    return vexbase::Concat(
        {"<?xml version=\"1.0\"?>\n"
         "<root xmlns=\"urn:schemas-upnp-org:device-1-0\">\n"
         "  <specVersion>\n"
         "    <major>1</major>\n"
         "    <minor>0</minor>\n"
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

} // namespace formats
