#include "beaconctl/commands.h"
#include "beaconctl/output.h"
#include "beaconctl/status_judgement.h"
#include "beaconctl/status_observer.h"
#include "beaconctl/status_text.h"

namespace beaconctl {

ExitStatus RunStatus(const Arguments &arguments)
{
    const StatusReport report = Judge(Observe(arguments.timeout));
    if (!WriteOutput(arguments.json ? StatusJson(report) : StatusText(report))) {
        return kFailed;
    }
    switch (report.health) {
    case Health::Healthy:
        return kFound;
    case Health::Degraded:
        return kNothingFound;
    case Health::NotRunning:
        break;
    }
    return kFailed;
}

} // namespace beaconctl
