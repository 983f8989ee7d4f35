#include "ssdp/search_target.h"

namespace ssdp {
namespace {

bool NamesUSN(std::string_view target)
{
    constexpr std::string_view kUuid = "uuid:";
    return target.size() > kUuid.size() && target.find(kUuid) != std::string_view::npos;
}

std::string_view WithoutVersion(std::string_view target)
{
    const std::size_t size = target.size();
    const bool versioned =
        size >= 2 && target[size - 2] == ':' && target[size - 1] >= '0' && target[size - 1] <= '9';
    return versioned ? target.substr(0, size - 2) : target;
}

} // namespace

std::vector<const SSDPDeviceType *> MatchSearchTarget(const formats::SSDPDeviceMap &services,
                                                      std::string_view target)
{
    const bool all = target == "ssdp:all";
    const bool byUSN = !all && NamesUSN(target);
    if (!all && !byUSN) {
        target = WithoutVersion(target);
    }
    std::vector<const SSDPDeviceType *> matching;
    for (const auto &[usn, service] : services) {
        if (all || target == (byUSN ? service.usn : service.notificationType)) {
            matching.push_back(&service);
        }
    }
    return matching;
}

} // namespace ssdp
