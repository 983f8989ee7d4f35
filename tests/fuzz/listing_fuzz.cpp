// Diagnostic commands and listings: a cut listing consists of the first whole entries of the
// complete one, and texts of any bytes do not affect the reading of other entries.
// Memory is in proportion to the listing.
//
// Input: texts that end with 0x1E, four for each device. The bytes 0x01 to 0x04 stand for the
// labels of the format, so that the fuzzer finds them. After a leading '*' the devices are
// multiplied until no listing can hold them.

#include "check.h"
#include "formats/diagnostic_listing.h"
#include "formats/ssdp_protocol.h"
#include "memory.h"

#include <algorithm>
#include <array>

using formats::ReadListing;

namespace {

constexpr std::string_view kBoundary = "\n\n  ProductName:\"";
constexpr std::string_view kLabels[] = {kBoundary, "\"\n  HostName:   \"",
                                        "\"\n  IP:         ", "\n  USN:        "};

std::string TakeText(std::string_view &input)
{
    const std::string_view bytes = input.substr(0, input.find('\x1e'));
    input.remove_prefix(std::min(bytes.size() + 1, input.size()));
    std::string text;
    for (const char c : bytes) {
        const auto label = static_cast<std::size_t>(static_cast<unsigned char>(c)) - 1;
        text += label < std::size(kLabels) ? kLabels[label] : std::string_view(&c, 1);
    }
    return text.substr(0, formats::kReceiveSize); // the most that a description can contain
}

formats::SSDPDeviceMap ReadDevices(std::string_view input)
{
    formats::SSDPDeviceMap devices;
    while (!input.empty()) {
        SSDPDeviceType device;
        device.productName = TakeText(input);
        device.hostName = TakeText(input);
        device.ipAddress = TakeText(input);
        device.usn = TakeText(input);
        devices.insert_or_assign(device.usn, device);
    }
    return devices;
}

std::size_t SizeOfEntry(const SSDPDeviceType &device)
{
    constexpr std::size_t kSizeOfLabels = 65;
    return kSizeOfLabels + device.productName.size() + device.hostName.size() +
           device.ipAddress.size() + device.usn.size();
}

// Copies of the devices with other USNs, more than a listing can hold.
formats::SSDPDeviceMap Multiplied(const formats::SSDPDeviceMap &devices)
{
    formats::SSDPDeviceMap many;
    std::size_t size = 0;
    while (!devices.empty() && size <= formats::kMaxDatagram) {
        for (const auto &[usn, device] : devices) {
            SSDPDeviceType copy = device;
            copy.usn = std::to_string(many.size()) + usn.substr(0, formats::kReceiveSize - 5);
            size += SizeOfEntry(copy);
            many.insert_or_assign(copy.usn, copy);
        }
    }
    return many;
}

bool HasLineFeed(const std::string &text)
{
    return text.find('\n') != std::string::npos;
}

std::string Assembled(const formats::SSDPDeviceMap &devices, std::size_t limit)
{
    std::string listing = "NodeList";
    formats::AssembleList(devices, listing, limit);
    return listing;
}

using Texts = std::array<std::string, 4>;

std::vector<Texts> TextsOf(const std::vector<SSDPDeviceType> &services)
{
    std::vector<Texts> texts;
    for (const SSDPDeviceType &each : services) {
        texts.push_back({each.productName, each.hostName, each.ipAddress, each.usn});
    }
    return texts;
}

std::vector<Texts> ReadAlone(const SSDPDeviceType &device)
{
    const auto listing =
        ReadListing(Assembled({{device.usn, device}}, std::string::npos), "NodeList");
    FUZZ_CHECK(listing && !listing->services.empty() && !listing->cut);
    if (!HasLineFeed(device.productName) && !HasLineFeed(device.hostName) &&
        !HasLineFeed(device.ipAddress) && device.usn.find(kBoundary) == std::string::npos) {
        FUZZ_CHECK(TextsOf(listing->services) == TextsOf({device}));
    }
    return TextsOf(listing->services);
}

// Reads a listing. Its texts are copied once; its records less than four times, while the list
// of them grows.
std::optional<formats::DiagnosticListing> ReadWithinCost(std::string_view reply)
{
    const MemoryCount memory;
    auto listing = ReadListing(reply, "NodeList");
    const std::size_t records = listing ? listing->services.size() : 0;
    FUZZ_CHECK(memory.Allocated() <= 4 * sizeof(SSDPDeviceType) * records + 2 * reply.size());
    return listing;
}

// Checks that beaconctl reads the devices from the daemon's listing.
void CheckReading(const std::string &reply, const formats::SSDPDeviceMap &devices)
{
    const auto listing = ReadWithinCost(reply);
    FUZZ_CHECK(listing.has_value());
    const std::string whole = Assembled(devices, std::string::npos);
    FUZZ_CHECK(whole.compare(0, reply.size(), reply) == 0);
    FUZZ_CHECK(listing->cut || reply.size() == whole.size());
    std::vector<Texts> expected;
    std::size_t size = Assembled({}, 0).size();
    for (const auto &[usn, device] : devices) {
        if (size == reply.size()) {
            break;
        }
        const std::vector<Texts> alone = ReadAlone(device);
        expected.insert(expected.end(), alone.begin(), alone.end());
        size += SizeOfEntry(device);
    }
    FUZZ_CHECK(size == reply.size() && TextsOf(listing->services) == expected);
}

void CheckCommand(std::string_view command, const formats::SSDPDeviceMap &devices)
{
    std::string reply;
    if (formats::AnswerCommand(command, {}, devices, reply)) {
        FUZZ_CHECK(command == "gh" || command == "gn");
        FUZZ_CHECK(command == "gn" || reply == "HostList");
        FUZZ_CHECK(ReadListing(reply, command == "gh" ? "HostList" : "NodeList").has_value());
    } else {
        FUZZ_CHECK(reply.size() == 21 + command.size());
        FUZZ_CHECK(reply.compare(20, command.size(), command) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    static_cast<void>(ReadWithinCost(input));
    const bool many = input.substr(0, 1) == "*";
    formats::SSDPDeviceMap devices = ReadDevices(input.substr(many ? 1 : 0));
    if (many) {
        devices = Multiplied(devices);
    }
    CheckCommand(input.substr(0, 2), devices);
    const MemoryCount memory;
    std::string reply;
    FUZZ_CHECK(formats::AnswerCommand("gn", {}, devices, reply));
    FUZZ_CHECK(reply.size() <= formats::kMaxDatagram);
    // A text doubles its room when it grows: all rooms together are less than four times it.
    FUZZ_CHECK(memory.Allocated() <= 4 * Assembled(devices, std::string::npos).size());
    CheckReading(reply, devices);
    const std::size_t limit = 8 + size;
    const std::string cut = Assembled(devices, limit);
    FUZZ_CHECK(cut.size() <= limit && ReadListing(cut, "NodeList").has_value());
    return 0;
}
