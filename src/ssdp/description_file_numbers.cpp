#include "ssdp/description_file_numbers.h"

#include "ssdp/output_line.h"

#include <charconv>

std::uint32_t DescriptionFileNumbers::GetFileNumber()
{
    const std::lock_guard<std::mutex> hold(mMutex);
    std::uint32_t candidate = 1;
    for (const std::uint32_t used : mInUse) {
        if (used != candidate) {
            break;
        }
        ++candidate;
    }
    if (candidate > mLargest) {
        ssdp::WriteFault({"GetFileNumber", ": Unable to generate a file number"});
        return 0;
    }
    mInUse.insert(candidate);
    return candidate;
}

void DescriptionFileNumbers::ReturnFileNumber(std::string_view descriptionFileName)
{
    const std::size_t mark = descriptionFileName.rfind('_');
    if (mark == std::string_view::npos) {
        return;
    }
    const std::string_view digits = descriptionFileName.substr(mark + 1);
    std::uint32_t number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc()) {
        const std::lock_guard<std::mutex> hold(mMutex);
        mInUse.erase(number);
    }
}
