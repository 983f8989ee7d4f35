#include "product/serial_number.h"

#include "vexbase/vex_file_descriptor.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace {

constexpr const char *kSerialNumberFile = "/proc/device-tree/serial-number";
constexpr const char *kDefaultSerialNumber = "1HE000000"; // for devices without one
constexpr std::size_t kMaxSerialNumberBytes = 63;

} // namespace

std::string SerialNumber::GetFormattedSerialNumber()
{
    const vexbase::FileDescriptor file(open(kSerialNumberFile, O_RDONLY | O_CLOEXEC));
    if (file.Descriptor() < 0) {
        return kDefaultSerialNumber;
    }
    std::string text(kMaxSerialNumberBytes, '\0');
    const ssize_t length = read(file.Descriptor(), text.data(), text.size());
    return length > 0 ? text.substr(0, text.find('\0')) : kDefaultSerialNumber;
}

std::uint32_t SerialNumber::GetSerialNumber()
{
    const std::string text = GetFormattedSerialNumber();
    const std::size_t digits = text.find_last_not_of("0123456789") + 1;
    const unsigned long number = std::strtoul(text.c_str() + digits, nullptr, 10);
    // A long has 32 or 64 bits; the result must be the same on all boards.
    constexpr unsigned long kLargest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(number, kLargest));
}

std::string SerialNumber::GetBoardID()
{
    return "11001300";
}

std::string getCleanSerialNumber()
{
    std::string text = SerialNumber::GetFormattedSerialNumber();
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}
