#pragma once

#include <cstdint>
#include <string>

// SerialNumber reads the device's serial number from the device tree,
// /proc/device-tree/serial-number: a text that ends in a NUL, from the boot loader. It has
// static members only. Any thread may call any operation. The number is not kept: each call for
// it reads the file. If it cannot be read, there is a default; no operation fails.
class SerialNumber
{
public:
    // The stored text up to its NUL, at most 63 bytes; "1HE000000" if the file is missing,
    // empty or unreadable.
    [[nodiscard]] static std::string GetFormattedSerialNumber();

    // The decimal digits at the end of that text as a number; 0 if the last character is not
    // a digit. 4294967295 for larger numbers.
    [[nodiscard]] static std::uint32_t GetSerialNumber();

    // Always "11001300". CProductID (product_id.h) has the device's real board.
    [[nodiscard]] static std::string GetBoardID();
};

// The text of GetFormattedSerialNumber without spaces at its end: the form that is announced.
// Other white space is kept. Any thread.
[[nodiscard]] std::string getCleanSerialNumber();
