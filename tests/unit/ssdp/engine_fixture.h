#pragma once

#include "ssdp/vex_ssdp.h"
#include "support/heard_so_far.h"
#include "support/one_processor.h"
#include "support/private_namespace.h"

#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <string>

// What the tests of the whole engine have in common: the engine on net0, and a
// peer that hears the multicast group and everything sent to its port 1900.
namespace test {

inline const std::map<std::string, std::string> kNet0{{kOwnAddress, "net0"}};

// A service of this host. With a max-age of its own, so that its messages are
// known byte for byte.
inline SSDPDeviceType OwnService(const std::string &product = "Corvia 12")
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

// The messages that name the service OwnService(product), whose document has the
// given file name.
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

constexpr const char *kCorvia = "Corvia 12";
constexpr const char *kCorviaFile = "corvia_12_upnp_ssdp_1.xml";

// The messages of a device at the peer's address.
inline std::string PeerNotify(const std::string &kind, const std::string &product,
                              const std::string &location)
{
    return "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\nNTS: " +
           kind + "\r\nLOCATION: " + location + "\r\nUSN: " + UsnOf(product, kPeerAddress) +
           "\r\nCACHE-CONTROL: max-age=1800\r\nSERVER: x\r\n\r\n";
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

inline std::string ReadFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The next datagram of a socket of this host, "" after a generous time without.
inline std::string Receive(VEXUDPSocket &socket)
{
    std::array<char, 2000> buffer{};
    sockaddr_in sender{};
    return {buffer.data(), socket.Poll(buffer.data(), buffer.size(), sender, 10000)};
}

class EngineOnNet0
{
protected:
    EngineOnNet0()
    {
        mPeer.JoinMulticast();
        mEngine.SetPath("/var/www/html");
    }
    EngineOnNet0(const EngineOnNet0 &) = delete;
    EngineOnNet0 &operator=(const EngineOnNet0 &) = delete;
    ~EngineOnNet0() { mEngine.Close(); }

    void Add(const std::string &product = kCorvia)
    {
        SSDPDeviceType service = OwnService(product);
        mEngine.AddService(service);
    }

    // Opens the engine with one announced service, and takes what the peer hears
    // of that.
    void OpenAnnounced()
    {
        Add();
        ASSERT_EQ(mEngine.Open(kNet0), 1U);
        EXPECT_EQ(mPeer.Receive(), Alive(kCorvia, kCorviaFile));
        EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
    }

    // Returns when the engine has dealt with all datagrams sent to it so far.
    // REQUIRES: OpenAnnounced.
    void Settle()
    {
        PeerSocket asker;
        asker.SendTo(Search("upnp:rootdevice"), kOwnAddress, 1900);
        EXPECT_EQ(asker.Receive(), SearchAnswer(kCorvia, kCorviaFile));
    }

    // The reply to a diagnostic command.
    static std::string Ask(const std::string &command)
    {
        PeerSocket asker;
        asker.SendTo(command, kOwnAddress, 49821);
        return asker.Receive();
    }

    // Sends from the engine's own address, as its own messages come in.
    static void FromOwnAddress(const std::string &datagram)
    {
        VEXUDPSocket own;
        ASSERT_EQ(own.Open(kOwnAddress, 0), kVEXSuccess);
        EXPECT_EQ(own.Write(datagram.data(), datagram.size(), SocketAddress(kOwnAddress, 1900)),
                  static_cast<int>(datagram.size()));
    }

    void ToEngine(const std::string &datagram) { mPeer.SendTo(datagram, kOwnAddress, 1900); }

    OneProcessor mOrder;
    PeerSocket mPeer{1900};
    VEX_SSDP mEngine;
};

class EngineTest : public testing::Test, protected EngineOnNet0
{
};

} // namespace test
