// Search targets: who answers, and nobody else.

#include "check.h"
#include "ssdp/search_target.h"

#include <set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const SSDPDeviceMap kServices = [] {
        SSDPDeviceMap services;
        for (const char *usn : {"uuid:65746500-Corvia 12-192.0.2.10-0", "uuid:1", "b"}) {
            services[usn].usn = usn;
            services[usn].notificationType = "upnp:rootdevice";
        }
        services["b"].notificationType = "urn:x:device:Basic";
        return services;
    }();
    const std::string target(Text(data, size));
    std::string shortened = target;
    std::set<std::string> answered;
    ssdp::MatchSearchTarget(kServices, shortened, [&](const SSDPDeviceType &service) {
        FUZZ_CHECK(answered.insert(service.usn).second);
        FUZZ_CHECK(target == "ssdp:all" || target == service.usn ||
                   shortened == service.notificationType);
    });
    FUZZ_CHECK(target.compare(0, shortened.size(), shortened) == 0);
    FUZZ_CHECK(target.size() - shortened.size() == 0 || target.size() - shortened.size() == 2);
    FUZZ_CHECK(target != "ssdp:all" || answered.size() == kServices.size());
    FUZZ_CHECK(target != "upnp:rootdevice" || answered.size() == 2);
    return 0;
}
