#include "formats/ssdp_device_type.h"

#include "formats/ssdp_protocol.h"
#include "vexbase/vex_text.h"

namespace formats {
namespace {

bool Contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

} // namespace

std::string MakeUSN(std::string_view productName, std::string_view ipAddress,
                    std::string_view instance)
{
    return vexbase::Concat({kUsnPrefix, productName, "-", ipAddress, "-", instance});
}

bool CanBeProxied(std::string_view text)
{
    return Contains(text, "ZR1");
}

bool IsNonProxiedDevice(std::string_view text)
{
    return Contains(text, kVexMark) || Contains(text, "TalonMx") || Contains(text, "TalonVt") ||
           Contains(text, "ZR2");
}

bool IsVEXDevice(std::string_view text)
{
    return Contains(text, kVexMark) || Contains(text, "Talon") || Contains(text, "ZR1") ||
           Contains(text, "ZR2");
}

} // namespace formats
