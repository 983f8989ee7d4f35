#include "mdns/instance_name.h"

#include <algorithm>

namespace {

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isInner(char c)
{
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-';
}

} // namespace

std::string instanceName(std::string_view hostName, std::string_view productName,
                         std::string_view serial)
{
    std::string name;
    for (const char c : hostName) {
        if (name.empty() ? isLetter(c) : isInner(c)) {
            name += c;
        }
    }
    if (name.empty()) {
        name.append("vex-").append(productName).append("-").append(serial);
    }
    name.resize(std::min(name.size(), kInstanceNameMax));
    return name;
}
