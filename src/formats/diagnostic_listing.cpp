#include "formats/diagnostic_listing.h"

#include "formats/ssdp_protocol.h"
#include "vexbase/vex_text.h"

namespace formats {

void AssembleList(const SSDPDeviceMap &list, std::string &out, std::size_t maxSize)
{
    for (const auto &[usn, device] : list) {
        const std::size_t whole = out.size();
        vexbase::Append(out, {"\n  ProductName:\"", device.productName, "\"\n  HostName:   \"",
                              device.hostName, "\"\n  IP:         ", device.ipAddress,
                              "\n  USN:        ", device.usn, "\n"});
        if (out.size() > maxSize) {
            out.resize(whole);
            return;
        }
    }
}

bool AnswerCommand(std::string_view command, const SSDPDeviceMap &hosts, const SSDPDeviceMap &nodes,
                   std::string &reply)
{
    if (command == "gh") {
        reply = "HostList";
        AssembleList(hosts, reply, kMaxDatagram);
        return true;
    }
    if (command == "gn") {
        reply = "NodeList";
        AssembleList(nodes, reply, kMaxDatagram);
        return true;
    }
    reply = vexbase::Concat({"No such command as \"", command, "\""});
    return false;
}

std::string DisplayText(const SSDPDeviceMap &list, const char *operation)
{
    std::string text =
        vexbase::Concat({operation, ":  We have ", std::to_string(list.size()), " SSDP Devices\n"});
    for (const auto &[usn, device] : list) {
        vexbase::Append(text, {"\n  ProductName:", device.productName, "\n  IP:         ",
                               device.ipAddress, "\n  USN:        ", device.usn, "\n"});
    }
    text.pop_back();
    return text;
}

} // namespace formats
