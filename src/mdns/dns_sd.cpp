#include "mdns/dns_sd.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace mdns {
namespace {

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isKeptAfterFirstLetter(char c)
{
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-';
}

bool matches(const Service &service, const char *type, int port)
{
    return service.port == port && std::strcmp(service.type, type) == 0;
}

} // namespace

std::string instanceName(std::string_view hostName, std::string_view productName,
                         std::string_view serial)
{
    std::string name;
    for (const char c : hostName) {
        if (name.empty() ? isLetter(c) : isKeptAfterFirstLetter(c)) {
            name += c;
        }
    }
    if (name.empty()) {
        name.append("vex-").append(productName).append("-").append(serial);
    }
    name.resize(std::min(name.size(), kInstanceNameMax));
    return name;
}

Service &findOrAddService(Services &services, const char *type, int port)
{
    for (Service &service : services) {
        if (matches(service, type, port)) {
            return service;
        }
    }
    return services.emplace_front(Service{port, type, nullptr});
}

bool removeService(Services &services, const char *type, int port)
{
    for (auto before = services.before_begin(); std::next(before) != services.end(); ++before) {
        if (matches(*std::next(before), type, port)) {
            services.erase_after(before);
            return true;
        }
    }
    return false;
}

TxtStrings makeTxtStrings(const QStringList &texts)
{
    AvahiStringList *list = nullptr;
    for (const QString &text : texts) {
        list = avahi_string_list_add(list, text.toUtf8().constData());
    }
    return TxtStrings(list);
}

} // namespace mdns
