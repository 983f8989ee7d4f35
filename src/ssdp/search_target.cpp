#include "ssdp/search_target.h"

namespace ssdp {
namespace {

bool NamesUSN(const std::string &target)
{
    return target.size() > 5 && target.find("uuid:") != std::string::npos;
}

void TakeVersion(std::string &target)
{
    const std::size_t size = target.size();
    if (size >= 2 && target[size - 2] == ':' && target[size - 1] >= '0' &&
        target[size - 1] <= '9') {
        target.resize(size - 2);
    }
}

} // namespace

void MatchSearchTarget(const SSDPDeviceMap &services, std::string &target,
                       const std::function<void(const SSDPDeviceType &)> &answer)
{
    const bool all = target == "ssdp:all";
    const bool byUSN = !all && NamesUSN(target);
    if (!all && !byUSN) {
        TakeVersion(target);
    }
    for (const auto &[usn, service] : services) {
        if (all || target == (byUSN ? service.usn : service.notificationType)) {
            answer(service);
        }
    }
}

} // namespace ssdp
