#include "beaconctl/entry.h"

#include <arpa/inet.h>
#include <limits>
#include <tuple>

namespace {

// The address as a number; texts that are not addresses come last.
std::uint64_t AddressNumber(const std::string &address)
{
    in_addr binary{};
    return inet_pton(AF_INET, address.c_str(), &binary) == 1
               ? ntohl(binary.s_addr)
               : std::numeric_limits<std::uint64_t>::max();
}

auto AllTexts(const Entry &entry)
{
    return std::tie(entry.hostName, entry.address, entry.product, entry.usn, entry.description,
                    entry.boardID);
}

} // namespace

bool operator==(const Entry &left, const Entry &right)
{
    return AllTexts(left) == AllTexts(right);
}

bool operator<(const Entry &left, const Entry &right)
{
    if (left.hostName != right.hostName) {
        return left.hostName < right.hostName;
    }
    const std::uint64_t leftNumber = AddressNumber(left.address);
    const std::uint64_t rightNumber = AddressNumber(right.address);
    return leftNumber != rightNumber ? leftNumber < rightNumber : AllTexts(left) < AllTexts(right);
}
