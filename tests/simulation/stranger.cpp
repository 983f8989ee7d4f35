#include "simulation/stranger.h"

#include "formats/description_document.h"
#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <arpa/inet.h>

namespace simulation {
namespace {

using Datagrams = std::vector<DatagramPointer>;

// The address of a stranger, on the same link but outside the range of the devices.
sockaddr_in Stranger(std::uint32_t number, std::uint16_t port = 40000)
{
    return SocketAddress(htonl(0xC612FE00U + number), port); // 198.18.254.0 and up
}

// An address of another network.
sockaddr_in FarAway(std::uint16_t port = 40000)
{
    return SocketAddress(inet_addr("203.0.113.7"), port);
}

sockaddr_in Group()
{
    return SocketAddress(inet_addr(formats::kMulticastAddress), formats::kPort);
}

DatagramPointer ToAll(const std::string &text, const sockaddr_in &sender)
{
    return MakeDatagram(text, sender, Group(), true, kNoMachine);
}

DatagramPointer ToOne(const std::string &text, const sockaddr_in &sender, const Machine &machine)
{
    return MakeDatagram(text, sender, SocketAddress(machine.Address(), formats::kPort), false,
                        kNoMachine);
}

const Machine &Victim(Victims &victims)
{
    const auto count = static_cast<std::int64_t>(victims.machines.size());
    return *victims.machines[static_cast<std::size_t>(victims.chance.Below(count))];
}

std::string Alive(const std::string &usn, const std::string &location,
                  const std::string &maxAge = "1800")
{
    return "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
           "NTS: ssdp:alive\r\nLOCATION: " +
           location + "\r\nUSN: " + usn + "\r\nCACHE-CONTROL: max-age=" + maxAge +
           "\r\nSERVER: x\r\n\r\n";
}

std::string Goodbye(const std::string &usn)
{
    return "NOTIFY * HTTP/1.1\r\nNT: upnp:rootdevice\r\nNTS: ssdp:byebye\r\n"
           "LOCATION: http://x\r\nUSN: " +
           usn + "\r\n\r\n";
}

std::string Description(const std::string &usn, const std::string &name, const std::string &address,
                        const std::string &maxAge = "")
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n" +
           (maxAge.empty() ? "" : "CACHE-CONTROL: max-age=" + maxAge + "\r\n") +
           "\r\n<friendlyName>" + name +
           "</friendlyName><modelName>Corvia 12</modelName><modelNumber>0x10650001"
           "</modelNumber><modelDescription>x</modelDescription><UDN>" +
           usn + "</UDN><presentationURL>http://" + address + ":80/index.html</presentationURL>";
}

std::string ForgedUsn(std::int64_t number)
{
    return "uuid:65746500-Forged-203.0.113.9-" + std::to_string(number);
}

std::string LocationOf(const std::string &address)
{
    return "http://" + address + ":80/corvia_12_upnp_ssdp_1.xml";
}

// 30 televisions, routers and printers. Each announces two long USNs, and some search.
Datagrams OtherMakers(Victims &victims, std::uint32_t turn)
{
    const auto number = static_cast<std::uint32_t>(victims.chance.Below(30));
    const std::string usn = "uuid:2f402f80-da50-11e1-9b23-0017880" + std::to_string(10000 + number);
    const std::string location = "http://198.18.254.250:8008/ssdp/device-desc.xml";
    Datagrams datagrams{ToAll(Alive(usn + "::upnp:rootdevice", location), Stranger(number, 1900)),
                        ToAll(Alive(usn, location), Stranger(number, 1900))};
    if (turn % 10 == 0) {
        datagrams.push_back(ToAll("M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\n"
                                  "MAN: \"ssdp:discover\"\r\nMX: 3\r\nST: ssdp:all\r\n\r\n",
                                  Stranger(number)));
    }
    return datagrams;
}

Datagrams OffLinkSearches(Victims &victims, std::uint32_t /*turn*/)
{
    const Machine &victim = *victims.machines.front();
    return {100, ToOne("M-SEARCH\r\nST:ssdp:all", FarAway(), victim)};
}

Datagrams OffLinkRequests(Victims &victims, std::uint32_t /*turn*/)
{
    const Machine &victim = *victims.machines.front();
    return {100,
            ToOne("GET http://x:80/corvia_12_upnp_ssdp_1.xml HTTP/1.1\r\n\r\n", FarAway(), victim)};
}

// Announcements with addresses in LOCATION that no peer can have: multicast, broadcast, loopback
// and reserved ones.
Datagrams BadLocations(Victims &victims, std::uint32_t turn)
{
    const char *const addresses[] = {"239.255.255.250", "255.255.255.255", "127.0.0.1",
                                     "0.0.0.0",         "240.0.0.1",       "198.19.255.255"};
    return {ToAll(Alive(ForgedUsn(victims.chance.Below(1000)), LocationOf(addresses[turn % 6])),
                  Stranger(1))};
}

Datagrams AliveInTheirName(Victims &victims, std::uint32_t /*turn*/)
{
    const Machine &victim = Victim(victims);
    return {ToAll(Alive(victim.Usn(), LocationOf("203.0.113.9")), Stranger(2))};
}

Datagrams DescriptionInTheirName(Victims &victims, std::uint32_t /*turn*/)
{
    Datagrams datagrams;
    const Machine &victim = Victim(victims);
    for (const Machine *machine : victims.machines) {
        datagrams.push_back(
            ToOne(Description(victim.Usn(), "forged", "203.0.113.9"), Stranger(3), *machine));
    }
    return datagrams;
}

Datagrams GoodbyeInTheirName(Victims &victims, std::uint32_t /*turn*/)
{
    return {ToAll(Goodbye(Victim(victims).Usn()), Stranger(4))};
}

// Fills the list of the first device with devices that do not exist, with the longest max-age.
Datagrams ForgedDevices(Victims &victims, std::uint32_t turn)
{
    Datagrams datagrams;
    for (std::int64_t number = 0; number < 100; ++number) {
        const std::string usn = ForgedUsn(turn * 100 + number);
        datagrams.push_back(ToOne(Description(usn, "f", "203.0.113.9", "1073741"), Stranger(5),
                                  *victims.machines.front()));
    }
    return datagrams;
}

// The same, and announces them, which confirms them.
Datagrams ForgedAnnouncedDevices(Victims &victims, std::uint32_t turn)
{
    Datagrams datagrams = ForgedDevices(victims, turn);
    for (std::int64_t number = 0; number < 100; ++number) {
        datagrams.push_back(ToOne(Alive(ForgedUsn(turn * 100 + number), LocationOf("198.18.201.2")),
                                  Stranger(5), *victims.machines.front()));
    }
    return datagrams;
}

// Descriptions of devices whose names consist of control bytes. Each takes six bytes in the
// browse list.
Datagrams ControlBytes(Victims &victims, std::uint32_t turn)
{
    const std::string name(1100, '\x01');
    Datagrams datagrams;
    for (std::int64_t number = 0; number < 100; ++number) {
        const std::string usn = ForgedUsn(turn * 100 + number);
        datagrams.push_back(
            ToOne(Description(usn, name, "203.0.113.9"), Stranger(9), *victims.machines.front()));
    }
    return datagrams;
}

// 1,000 requests and 1,000 announcements a second, from one address to one device.
Datagrams Flood(Victims &victims, std::uint32_t turn)
{
    const Machine &victim = *victims.machines.front();
    Datagrams datagrams;
    for (std::uint32_t number = 0; number < 100; ++number) {
        datagrams.push_back(ToOne("GET http://x:80/corvia_12_upnp_ssdp_1.xml HTTP/1.1\r\n\r\n",
                                  Stranger(6), victim));
        datagrams.push_back(ToOne(Alive(ForgedUsn(turn * 100 + number), LocationOf("198.18.201.1")),
                                  Stranger(6), victim));
    }
    return datagrams;
}

// Announcements of devices at unused addresses.
Datagrams Nowhere(Victims &victims, std::uint32_t turn)
{
    Datagrams datagrams;
    for (std::uint32_t number = 0; number < 20; ++number) {
        const std::string address = "198.18.200." + std::to_string((turn * 20 + number) % 256);
        datagrams.push_back(ToAll(
            Alive(ForgedUsn(victims.chance.Below(100'000)), LocationOf(address)), Stranger(7)));
    }
    return datagrams;
}

// Searches, requests and announcements in the address of one device, to any device.
Datagrams ForgedSenders(Victims &victims, std::uint32_t turn)
{
    const Machine &victim = Victim(victims);
    const Machine &named = Victim(victims);
    const sockaddr_in sender = SocketAddress(named.Address(), formats::kPort);
    const auto place = [](const Machine &machine) {
        return "http://" + TextOf(machine.Address()) + ":80/" +
               formats::DescriptionFileName(machine.Product(), 1);
    };
    return {
        ToOne("M-SEARCH * HTTP/1.1\r\nST:ssdp:all\r\n\r\n", sender, victim),
        ToOne("GET " + place(victim) + " HTTP/1.1\r\n\r\n", sender, victim),
        ToOne(Alive(ForgedUsn(turn), place(named)), sender, victim),
    };
}

DatagramPointer ToDiagnosticPort(const std::string &text, const sockaddr_in &sender,
                                 const Machine &machine)
{
    return MakeDatagram(text, sender, SocketAddress(machine.Address(), formats::kDiagnosticPort),
                        false, kNoMachine);
}

// 2,000 commands a second from another network, to one device.
Datagrams DiagnosticQuestions(Victims &victims, std::uint32_t turn)
{
    const Machine &victim = *victims.machines.front();
    return {100, ToDiagnosticPort(turn % 2 == 0 ? "gn" : "gh", FarAway(), victim)};
}

// Datagrams in the name of one device, from its diagnostic port to that of any device.
Datagrams DiagnosticReplies(Victims &victims, std::uint32_t turn)
{
    const Machine &named = Victim(victims);
    return {ToDiagnosticPort(turn % 2 == 0 ? "x" : "gn",
                             SocketAddress(named.Address(), formats::kDiagnosticPort),
                             Victim(victims))};
}

// Datagrams with up to seven changed bytes, cut at a random length.
Datagrams Garbage(Victims &victims, std::uint32_t /*turn*/)
{
    const Machine &victim = Victim(victims);
    const std::string texts[] = {
        Alive(ForgedUsn(1), LocationOf("203.0.113.9")), Goodbye(ForgedUsn(2)),
        Description(ForgedUsn(3), "g", "203.0.113.9"),
        "M-SEARCH * HTTP/1.1\r\nST:upnp:rootdevice\r\n\r\n",
        "HTTP/1.1 200 OK\r\nLOCATION: http://1.2.3.4:80/x.xml\r\nUSN: uuid:65746500-x\r\n\r\n"};
    std::string text = texts[victims.chance.Below(5)];
    for (std::int64_t changes = victims.chance.Below(8); changes > 0 && !text.empty(); --changes) {
        const auto place =
            static_cast<std::size_t>(victims.chance.Below(static_cast<std::int64_t>(text.size())));
        text[place] = static_cast<char>(victims.chance.Below(256));
    }
    text.resize(
        static_cast<std::size_t>(victims.chance.Below(static_cast<std::int64_t>(text.size()) + 1)));
    return {ToOne(text, Stranger(8), victim)};
}

} // namespace

const std::vector<Behaviour> &Behaviours()
{
    static const std::vector<Behaviour> behaviours{
        {"other-makers", 200 * kMillisecond, OtherMakers, kNoEffect},
        {"off-link-searches", 50 * kMillisecond, OffLinkSearches, kNoEffect},
        {"off-link-requests", 50 * kMillisecond, OffLinkRequests, kNoEffect},
        {"bad-locations", 100 * kMillisecond, BadLocations, kNoEffect},
        {"alive-in-their-name", kSecond, AliveInTheirName, kNoEffect},
        {"description-in-their-name", kSecond, DescriptionInTheirName, kSpoilsLists},
        {"goodbye-in-their-name", kSecond, GoodbyeInTheirName, kSpoilsLists | kForgesGoodbyes},
        {"forged-devices", 500 * kMillisecond, ForgedDevices, kSpoilsLists | kForgesLastingDevices},
        {"forged-announced-devices", 500 * kMillisecond, ForgedAnnouncedDevices,
         kSpoilsLists | kForgesLastingDevices},
        {"control-bytes", 500 * kMillisecond, ControlBytes, kSpoilsLists | kForgesDevices},
        {"flood", 100 * kMillisecond, Flood, kNoEffect},
        {"nowhere", 100 * kMillisecond, Nowhere, kNoEffect},
        {"forged-senders", 20 * kMillisecond, ForgedSenders, kNoEffect},
        {"diagnostic-questions", 50 * kMillisecond, DiagnosticQuestions, kNoEffect},
        {"diagnostic-replies", 100 * kMillisecond, DiagnosticReplies, kNoEffect},
        {"garbage", 20 * kMillisecond, Garbage, kForgesDevices},
    };
    return behaviours;
}

const Behaviour *FindBehaviour(std::string_view name)
{
    const auto found = std::find_if(Behaviours().begin(), Behaviours().end(),
                                    [name](const Behaviour &each) { return each.name == name; });
    return found == Behaviours().end() ? nullptr : &*found;
}

} // namespace simulation
