#pragma once

#include <cstdint>
#include <string>

// SerialNumber reads the serial number that the boot loader left in the device
// tree, /proc/device-tree/serial-number: a text that ends in a NUL. It has
// static members only. Any thread may call any operation; each reads the file
// anew and keeps nothing.
class SerialNumber
{
public:
    // The text as stored, up to its NUL, cut to 63 bytes; "1HE000000" when
    // there is none to read.
    [[nodiscard]] static std::string GetFormattedSerialNumber();

    // The decimal digits at the very end of that text as a number, 0 when it
    // ends in anything else. What 32 bits do not hold gives 4294967295.
    [[nodiscard]] static std::uint32_t GetSerialNumber();

    // "11001300", whatever the device. The board that the device really has is
    // CProductID's (product_id.h).
    [[nodiscard]] static std::string GetBoardID();
};

// The stored serial number without blanks at its end, the form shown to other
// devices. Only the space character counts as a blank.
[[nodiscard]] std::string getCleanSerialNumber();
