#pragma once

#include <cstdint>
#include <mutex>
#include <set>
#include <string_view>

// DescriptionFileNumbers hands out the numbers in the names of description
// files, so that no two documents of this process share a file. Any thread.
class DescriptionFileNumbers
{
public:
    // Numbers run from 1 to largest.
    explicit DescriptionFileNumbers(std::uint32_t largest = 4294967294U) : mLargest(largest) {}

    // The smallest free number, which is then in use; 0, and a line on standard
    // error, when every number is.
    [[nodiscard]] std::uint32_t GetFileNumber();

    // Frees the number in a description file's name: the decimal digits behind
    // its last "_". A name without a number, or with one that is not in use,
    // changes nothing.
    void ReturnFileNumber(std::string_view descriptionFileName);

private:
    const std::uint32_t mLargest;
    std::mutex mMutex;
    std::set<std::uint32_t> mInUse; // guarded by mMutex
};
