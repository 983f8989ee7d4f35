#include "ssdp/registry_listing.h"

#include "ssdp/concat.h"
#include "ssdp/ssdp_protocol.h"

namespace ssdp {

void AssembleList(const SSDPDeviceMap &list, std::string &out, std::size_t maxSize)
{
    for (const auto &[usn, device] : list) {
        const std::size_t whole = out.size();
        Append(out,
               {"\n  ProductName:\"", device.productName, "\"\n  HostName:   \"", device.hostName,
                "\"\n  IP:         ", device.ipAddress, "\n  USN:        ", device.usn, "\n"});
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
    reply = Concat({"No such command as \"", command, "\""});
    return false;
}

std::string DisplayText(const SSDPDeviceMap &list, const char *operation)
{
    std::string text =
        Concat({operation, ":  We have ", std::to_string(list.size()), " SSDP Devices\n"});
    for (const auto &[usn, device] : list) {
        Append(text, {"\n  ProductName:", device.productName, "\n  IP:         ", device.ipAddress,
                      "\n  USN:        ", device.usn, "\n"});
    }
    return text;
}

} // namespace ssdp
