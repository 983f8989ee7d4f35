#include "beaconctl/arguments.h"
#include "beaconctl/commands.h"
#include "beaconctl/output.h"

#include <algorithm>

int main(int argc, char **argv)
{
    beaconctl::OccupyClosedStreams();
    beaconctl::Arguments arguments;
    std::string error;
    // argc is 0 if the program is executed without even its name.
    if (!ReadArguments({argv + std::min(argc, 1), argv + argc}, arguments, error)) {
        beaconctl::WriteError(error + "\nTry 'beaconctl --help'.");
        return beaconctl::kInvalidUsage;
    }
    return RunCommand(arguments);
}
