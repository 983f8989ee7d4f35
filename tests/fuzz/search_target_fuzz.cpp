// Search targets: only matching services answer, each once. To ssdp:all and upnp:rootdevice, all
// of them answer.

#include "check.h"
#include "memory.h"
#include "ssdp/search_target.h"

#include <set>

namespace {

// Whether a target is a notification type with a version of one digit.
bool IsTypeWithVersion(std::string_view target, std::string_view type)
{
    return target.size() == type.size() + 2 && target.substr(0, type.size()) == type &&
           target[type.size()] == ':' && target.back() >= '0' && target.back() <= '9';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const formats::SSDPDeviceMap kServices = [] {
        formats::SSDPDeviceMap services;
        for (const char *usn : {"uuid:65746500-Corvia 12-192.0.2.10-0", "uuid:1", "b"}) {
            services[usn].usn = usn;
            services[usn].notificationType = "upnp:rootdevice";
        }
        services["b"].notificationType = "urn:x:device:Basic";
        return services;
    }();
    const std::string_view target = Text(data, size);
    std::set<std::string> answered;
    const MemoryCount memory;
    const auto matching = ssdp::MatchSearchTarget(kServices, target);
    // A list doubles its room when it grows: all rooms together are less than four times it.
    FUZZ_CHECK(memory.Allocated() <= 4 * matching.size() * sizeof matching[0]);
    for (const SSDPDeviceType *service : matching) {
        FUZZ_CHECK(answered.insert(service->usn).second);
        FUZZ_CHECK(target == "ssdp:all" || target == service->usn ||
                   target == service->notificationType ||
                   IsTypeWithVersion(target, service->notificationType));
    }
    FUZZ_CHECK(target != "ssdp:all" || answered.size() == kServices.size());
    FUZZ_CHECK(target != "upnp:rootdevice" || answered.size() == 2);
    return 0;
}
