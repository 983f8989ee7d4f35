#pragma once

#include <string>
#include <vector>

// One device of a daemon's listing or of a browse list. Texts are the network's,
// byte for byte: show them through SafeText only.
struct Entry
{
    std::string hostName;
    std::string product;
    std::string address;
    std::string usn;         // listings only; not unique if a text imitates an entry
    std::string description; // browse lists only: the product's category
    std::string boardID;     // browse lists only
};

using Entries = std::vector<Entry>;

[[nodiscard]] bool operator==(const Entry &left, const Entry &right);

// The order in which entries are shown: by host name, then by address as a
// number, then by the other texts. Only equal entries are equivalent.
[[nodiscard]] bool operator<(const Entry &left, const Entry &right);
