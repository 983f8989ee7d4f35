// Diagnostic commands and listings: a cut listing is a whole beginning of the
// uncut one, and beaconctl reads what the daemon writes.

#include "beaconctl/diagnostic_listing.h"
#include "check.h"
#include "formats/diagnostic_listing.h"

namespace {

void CheckCommand(std::string_view command, const SSDPDeviceMap &devices)
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
    static_cast<void>(ReadListing(input, "NodeList"));
    SSDPDeviceMap devices;
    for (std::size_t start = 0; start < input.size();) {
        const std::string part(input.substr(start, input.find('\n', start) - start));
        SSDPDeviceType &device = devices["usn " + Plain(part)];
        device.usn = "usn " + Plain(part);
        device.hostName = Plain(part);
        device.productName = Plain(part) + "x";
        device.ipAddress = "192.0.2.1";
        start += part.size() + 1;
    }
    std::string whole = "NodeList";
    formats::AssembleList(devices, whole, static_cast<std::size_t>(-1));
    const auto read = ReadListing(whole, "NodeList");
    FUZZ_CHECK(read && read->size() == devices.size());
    for (const Entry &entry : *read) {
        const auto device = devices.find(entry.key);
        FUZZ_CHECK(device != devices.end() && device->second.hostName == entry.hostName);
    }
    CheckCommand(input.substr(0, 2), devices);
    CheckCommand("gn", devices);
    const std::size_t limit = 8 + size;
    std::string cut = "NodeList";
    formats::AssembleList(devices, cut, limit);
    FUZZ_CHECK(cut.size() <= limit && whole.compare(0, cut.size(), cut) == 0);
    FUZZ_CHECK(ReadListing(cut, "NodeList").has_value());
    return 0;
}
