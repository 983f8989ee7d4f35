#pragma once

#include <string>
#include <vector>

// One device as a daemon's listing or a browse list tells of it. Texts are the
// network's, byte for byte: show them through SafeText only.
struct Entry
{
    std::string key; // what tells devices apart: the USN, or what stands for it
    std::string hostName;
    std::string product;
    std::string address;
    std::string detail; // the USN of a listing; category and board of a browse list

    bool operator==(const Entry &other) const
    {
        return key == other.key && hostName == other.hostName && product == other.product &&
               address == other.address && detail == other.detail;
    }
};

using Entries = std::vector<Entry>;
