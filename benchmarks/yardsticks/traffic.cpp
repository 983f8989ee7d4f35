// Sends SSDP traffic on net0:
//
//   bench-traffic foreign COUNT RATE          NOTIFYs of a device of another maker
//   bench-traffic large COUNT RATE            the same, with 1,472 bytes, the most in an
//                                             Ethernet frame
//   bench-traffic peers COUNT RATE PEERS FIRST
//                                             NOTIFYs of PEERS peers, in a scattered order
//                                             (to defeat caches), from position FIRST on
//   bench-traffic describe ADDRESS PEERS      description responses of PEERS peers
//
// RATE is in datagrams a second; 0 means as fast as possible.

#include "multicast_socket.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string PeerName(unsigned long number)
{
    return "Corvia 12 Plus-192.0." + std::to_string(number / 256) + "." +
           std::to_string(number % 256) + "-0";
}

std::string Notify(const std::string &usn)
{
    return "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
           "NTS: ssdp:alive\r\nLOCATION: http://192.0.2.250:80/corvia_12_plus_upnp_ssdp_1.xml\r\n"
           "USN: " +
           usn + "\r\nCACHE-CONTROL: max-age=1800\r\nSERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n\r\n";
}

std::string ForeignNotify()
{
    return Notify("uuid:2fac1234-31f8-11b4-a222-08002b34c003::upnp:rootdevice");
}

std::string LargeNotify()
{
    std::string text = ForeignNotify();
    text.insert(text.size() - 2, "X-PADDING: \r\n");
    text.insert(text.size() - 4, 1472 - text.size(), 'x');
    return text;
}

std::string Description(unsigned long number)
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: 0\r\n"
           "<friendlyName>studio-" +
           std::to_string(number) +
           "</friendlyName>\n<modelDescription>HD recorder</modelDescription>\n"
           "<modelName>Corvia 12 Plus</modelName>\n<modelNumber>0x10650002</modelNumber>\n"
           "<UDN>uuid:65746500-" +
           PeerName(number) +
           "</UDN>\n<presentationURL>http://192.0.2.9:80/index.html</presentationURL>\r\n\r\n";
}

std::vector<std::string> PeerNotifies(unsigned long peers)
{
    std::vector<std::string> texts;
    for (unsigned long place = 0; place < peers; ++place) {
        texts.push_back(Notify("uuid:65746500-" + PeerName(place * 7919 % peers)));
    }
    return texts;
}

void Send(int descriptor, const std::string &text, const sockaddr_in &destination)
{
    if (sendto(descriptor, text.data(), text.size(), 0,
               reinterpret_cast<const sockaddr *>(&destination), sizeof destination) < 0) {
        bench::Fail("sendto");
    }
}

// Sends the texts in turn, from position first on, at a constant rate.
void SendPaced(const std::vector<std::string> &texts, unsigned long count, unsigned long rate,
               unsigned long first)
{
    const int descriptor = bench::OpenSender();
    const sockaddr_in group = bench::Address(bench::kGroup, bench::kPort);
    const auto start = Clock::now();
    for (unsigned long sent = 0; sent < count; ++sent) {
        if (rate != 0) {
            std::this_thread::sleep_until(start +
                                          std::chrono::nanoseconds(sent * 1000000000UL / rate));
        }
        Send(descriptor, texts[(first + sent) % texts.size()], group);
    }
}

// Sends the descriptions of the peers to a daemon, slowly enough that none is lost.
void Describe(const std::string &address, unsigned long peers)
{
    const int descriptor = bench::OpenSender();
    const sockaddr_in daemon = bench::Address(address, bench::kPort);
    for (unsigned long number = 0; number < peers; ++number) {
        Send(descriptor, Description(number), daemon);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

unsigned long Number(const char *text)
{
    return std::strtoul(text, nullptr, 10);
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 3 && (arguments[0] == "foreign" || arguments[0] == "large")) {
        SendPaced({arguments[0] == "large" ? LargeNotify() : ForeignNotify()}, Number(argv[2]),
                  Number(argv[3]), 0);
    } else if (arguments.size() == 5 && arguments[0] == "peers" && Number(argv[4]) > 0) {
        SendPaced(PeerNotifies(Number(argv[4])), Number(argv[2]), Number(argv[3]), Number(argv[5]));
    } else if (arguments.size() == 3 && arguments[0] == "describe") {
        Describe(arguments[1], Number(argv[3]));
    } else {
        std::fprintf(stderr, "usage: see the head of %s\n", "benchmarks/yardsticks/traffic.cpp");
        return 2;
    }
    return 0;
}
