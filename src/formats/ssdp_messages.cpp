#include "formats/ssdp_messages.h"

#include "vexbase/vex_text.h"

namespace formats {

std::string ComposeAlive(const SSDPDeviceType &service)
{
    return vexbase::Concat(
        {"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: ", service.notificationType,
         "\r\nNTS: ssdp:alive\r\nLOCATION: ", service.location, "\r\nUSN: ", service.usn,
         "\r\nCACHE-CONTROL: max-age=", service.maxAge, "\r\nSERVER: ", service.server,
         "\r\n\r\n"});
}

std::string ComposeGoodbye(const SSDPDeviceType &service)
{
    return vexbase::Concat(
        {"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: ", service.notificationType,
         "\r\nNTS: ssdp:byebye\r\nLOCATION: ", service.location, "\r\nUSN: ", service.usn,
         "\r\n\r\n"});
}

std::string ComposeSearchRequest(std::string_view searchTarget)
{
    return vexbase::Concat({"M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:", searchTarget,
                            "\r\nMAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n"});
}

std::string ComposeSearchResponse(const SSDPDeviceType &service)
{
    return vexbase::Concat({"HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=", service.maxAge,
                            "\r\nEXT:\r\nLOCATION: ", service.location,
                            "\r\nSERVER: ", service.server, "\r\nST: ", service.notificationType,
                            "\r\nUSN: ", service.usn, "\r\n\r\n"});
}

} // namespace formats
