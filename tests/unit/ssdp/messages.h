#pragma once

#include "formats/ssdp_device_type.h"
#include "support/addresses.h"

#include <string>

// Whole messages of the device under test and of a peer, and a service of the device.
namespace test {

constexpr const char *kCorvia = "Corvia 12";
constexpr const char *kCorviaFile = "corvia_12_upnp_ssdp_1.xml";
constexpr const char *kCorviaPath = "/var/www/html/corvia_12_upnp_ssdp_1.xml";
// The URL of the peer's document.
constexpr const char *kLumen = "http://192.0.2.20:80/lumen_upnp_ssdp_1.xml";

// A service of the device under test. It has a max-age, so its messages contain no random
// number.
inline SSDPDeviceType OwnService(const std::string &product = kCorvia)
{
    SSDPDeviceType service;
    service.productName = product;
    service.modelName = product;
    service.modelNumber = "0x10650001";
    service.modelDescription = "HD recorder";
    service.serialNumber = "1HE000123";
    service.ipAddress = kOwnAddress;
    service.hostName = "alpha";
    service.instance = "0";
    service.boardID = "0x10650001";
    service.notificationType = "upnp:rootdevice";
    service.urlScheme = "http://";
    service.maxAge = "1800";
    return service;
}

inline std::string UsnOf(const std::string &product, const std::string &address = kOwnAddress)
{
    return "uuid:65746500-" + product + "-" + address + "-0";
}

// Messages about OwnService(product). file is the name of its document's file.
inline std::string Alive(const std::string &product, const std::string &file)
{
    return "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
           "NTS: ssdp:alive\r\nLOCATION: http://192.0.2.10:80/" +
           file + "\r\nUSN: " + UsnOf(product) +
           "\r\nCACHE-CONTROL: max-age=1800\r\nSERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n\r\n";
}

inline std::string Goodbye(const std::string &product, const std::string &file)
{
    return "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
           "NTS: ssdp:byebye\r\nLOCATION: http://192.0.2.10:80/" +
           file + "\r\nUSN: " + UsnOf(product) + "\r\n\r\n";
}

inline std::string SearchAnswer(const std::string &product, const std::string &file)
{
    return "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\n"
           "LOCATION: http://192.0.2.10:80/" +
           file + "\r\nSERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\nST: upnp:rootdevice\r\nUSN: " +
           UsnOf(product) + "\r\n\r\n";
}

inline std::string Search(const std::string &target)
{
    return "M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:" + target +
           "\r\nMAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n";
}

// A request for a document of the device under test.
inline std::string Get(const std::string &target)
{
    return "GET " + target + " HTTP/1.1\r\nHOST:192.0.2.10:1900\r\n\r\n";
}

// The answer to such a request, with the text and the size of a file.
inline std::string GetAnswer(const std::string &text, std::size_t size)
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: " + std::to_string(size) +
           "\r\nCONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n" + text + "\r\n\r\n";
}

inline std::string GetAnswer(const std::string &text)
{
    return GetAnswer(text, text.size());
}

// Messages of a device at the peer's address.
inline std::string PeerNotify(const std::string &kind, const std::string &product,
                              const std::string &location)
{
    return "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\nNTS: " +
           kind + "\r\nLOCATION: " + location + "\r\nUSN: " + UsnOf(product, kPeerAddress) +
           "\r\nCACHE-CONTROL: max-age=1800\r\nSERVER: x\r\n\r\n";
}

inline std::string PeerAnswer(const std::string &product, const std::string &location)
{
    return "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\nLOCATION: " + location +
           "\r\nSERVER: x\r\nST: upnp:rootdevice\r\nUSN: " + UsnOf(product, kPeerAddress) +
           "\r\n\r\n";
}

inline std::string PeerDescription(const std::string &product, const std::string &hostName)
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: 1\r\n"
           "CONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n<root>\n<friendlyName>" +
           hostName +
           "</friendlyName>\n<modelDescription>4K encoder</modelDescription>\n<modelName>" +
           product +
           "</modelName>\n<modelNumber>0x10660001</modelNumber>\n<serialNumber>1</serialNumber>\n"
           "<UDN>" +
           UsnOf(product, kPeerAddress) + "</UDN>\n<presentationURL>http://" + kPeerAddress +
           ":80/index.html</presentationURL>\n</root>\n\r\n\r\n";
}

// The request that the device under test sends for the peer's document.
inline std::string PeerRequest(const std::string &url)
{
    return "GET " + url + " HTTP/1.1\r\nHOST:192.0.2.20:1900\r\n\r\n";
}

} // namespace test
