#pragma once

#include "beaconctl/status_observations.h"

#include <string>
#include <string_view>
#include <vector>

// The files of this device that the daemon writes, and the installed packages.
namespace beaconctl {

// The folder of the description documents, and the one of the browse list.
[[nodiscard]] Folder FindDocuments();
[[nodiscard]] Folder FindLists();

// Reads the browse list. isCurrent is set if a whole listing of the known services is given.
[[nodiscard]] BrowseList FindBrowseList(const std::optional<Listing> &known);

// The installed packages in lines of dpkg-query with their status, name and version. Pure
// function.
[[nodiscard]] std::vector<Package> ReadPackages(std::string_view answer);

// The installed packages of this system, and avahi-daemon; none without dpkg.
[[nodiscard]] std::vector<Package> FindPackages();

} // namespace beaconctl
