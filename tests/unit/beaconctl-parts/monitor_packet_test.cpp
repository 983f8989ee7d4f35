#include "beaconctl/monitor_packet.h"

#include "beaconctl/sources.h"

#include <gtest/gtest.h>
#include <string>

using namespace beaconctl;

namespace {

using namespace std::string_literals;

void Put(std::string &packet, std::size_t place, std::size_t number)
{
    packet[place] = static_cast<char>(number >> 8U);
    packet[place + 1] = static_cast<char>(number & 0xFFU);
}

// A packet from 192.0.2.10:1900 to 192.0.2.11:50000, with this number of bytes of options.
std::string Packet(const std::string &text, std::size_t options = 0)
{
    const std::size_t header = 20 + options;
    std::string packet(header + 8, '\0');
    packet[0] = static_cast<char>(0x40U + header / 4);
    Put(packet, 2, header + 8 + text.size());
    packet[9] = 17;
    packet.replace(12, 8, "\xc0\x00\x02\x0a\xc0\x00\x02\x0b"s);
    Put(packet, header, 1900);
    Put(packet, header + 2, 50000);
    Put(packet, header + 4, 8 + text.size());
    return packet + text;
}

// The same packet with another number at a place.
std::string With(std::string packet, std::size_t place, std::size_t number)
{
    Put(packet, place, number);
    return packet;
}

// Addresses and text of a datagram, "nothing" for none.
std::string Read(const std::string &packet)
{
    const auto datagram = ReadPacket(packet);
    return datagram ? AddressText(datagram->from) + " > " + AddressText(datagram->to) + " " +
                          std::string(datagram->text) + (datagram->cut ? " (cut)" : "")
                    : "nothing";
}

const std::string kAddresses = "192.0.2.10 > 192.0.2.11 ";

} // namespace

TEST(ReadPacket, ReadsAddressesAndText)
{
    EXPECT_EQ(Read(Packet("NOTIFY")), kAddresses + "NOTIFY");
    EXPECT_EQ(Read(Packet("")), kAddresses);
    EXPECT_EQ(Read(Packet("with options", 40)), kAddresses + "with options");
}

TEST(ReadPacket, LeavesOutThePaddingOfShortFrames)
{
    EXPECT_EQ(Read(Packet("x") + std::string(17, '\0')), kAddresses + "x");
    EXPECT_EQ(Read(With(Packet("xyz"), 24, 8 + 2)), kAddresses + "xy"); // the UDP length
}

TEST(ReadPacket, ReadsAsManyBytesAsADaemon)
{
    const std::string most(1500, 'x');
    EXPECT_EQ(Read(Packet(most)), kAddresses + most);
    EXPECT_EQ(Read(Packet(most + "y")), kAddresses + most + " (cut)");
}

TEST(ReadPacket, ReadsOnlyTheFirstFragment)
{
    const std::string first = With(With(Packet("NOTIFY"), 6, 0x2000), 24, 8 + 4000);
    EXPECT_EQ(Read(first), kAddresses + "NOTIFY (cut)");
    EXPECT_EQ(Read(With(Packet("NOTIFY"), 6, 0x2001)), "nothing");
    EXPECT_EQ(Read(With(Packet("NOTIFY"), 6, 0x1000)), "nothing");
    EXPECT_EQ(Read(With(Packet("NOTIFY"), 6, 0x4000)), kAddresses + "NOTIFY"); // do not fragment
}

TEST(ReadPacket, RefusesEveryWrongLength)
{
    const std::string packet = Packet("NOTIFY");
    for (std::size_t size = 0; size < packet.size(); ++size) {
        EXPECT_EQ(Read(packet.substr(0, size)), "nothing") << size;
    }
    EXPECT_EQ(Read(With(packet, 2, packet.size() + 1)), "nothing");
    EXPECT_EQ(Read(With(packet, 2, 27)), "nothing"); // no room for both headers
    EXPECT_EQ(Read(With(packet, 24, 7)), "nothing");
    EXPECT_EQ(Read(With(packet, 24, 15)), "nothing");
    EXPECT_EQ(Read(With(packet, 24, 0xFFFF)), "nothing");
    EXPECT_EQ(Read(With(packet, 0, 0x4400)), "nothing"); // a header of 16 bytes
    EXPECT_EQ(Read(With(packet, 0, 0x4F00)), "nothing"); // of 60, more than there is
    EXPECT_EQ(Read(With(Packet("", 40), 2, 67)), "nothing");
}

TEST(ReadPacket, RefusesOtherProtocols)
{
    EXPECT_EQ(Read(With(Packet("NOTIFY"), 0, 0x6500)), "nothing");
    EXPECT_EQ(Read(With(Packet("NOTIFY"), 8, 6)), "nothing"); // TCP
}

TEST(ReadPacket, ReadsWithinRandomBytes)
{
    std::string packet = Packet(std::string(100, 'x'));
    unsigned int state = 1;
    for (int round = 0; round < 20000; ++round) {
        state = state * 1103515245U + 12345U;
        packet[(state >> 8U) % 28] = static_cast<char>(state >> 16U);
        const std::string exact = packet.substr(0, (state >> 4U) % (packet.size() + 1));
        if (const auto datagram = ReadPacket(exact)) {
            EXPECT_GE(datagram->text.data(), exact.data());
            EXPECT_LE(datagram->text.data() + datagram->text.size(), exact.data() + exact.size());
        }
    }
}
