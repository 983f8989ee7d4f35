#include "beaconctl/monitor.h"

#include "beaconctl/monitor_message.h"
#include "beaconctl/monitor_source.h"
#include "beaconctl/output.h"
#include "beaconctl/program_end.h"

#include <ctime>

namespace beaconctl {
namespace {

constexpr int kForever = -1;

ExitStatus Fail(const std::string &error)
{
    WriteError(error);
    return kFailed;
}

// Shows a datagram, if it is wanted. False if the output cannot be written.
bool Show(const Arguments &arguments, const Datagram &datagram)
{
    const Message message = DescribeDatagram(datagram);
    if (!IsWanted(datagram, message, arguments.host, arguments.product)) {
        return true;
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (!WriteOutput(MonitorText(now, datagram, message, arguments.json))) {
        return false;
    }
    NoteResult(true);
    return true;
}

} // namespace

ExitStatus RunMonitor(const Arguments &arguments)
{
    EndOnSignals();
    MonitorSource source;
    std::string error;
    if (!source.Open(error)) {
        return Fail(error);
    }
    NoteResult(false);
    WriteError(source.HasUnicast()
                   ? "monitoring multicast and unicast through a packet socket"
                   : "monitoring multicast only: unicast needs CAP_NET_RAW, as root has it");
    std::optional<Datagram> datagram;
    while (WaitWhileOutputIsRead(kForever, source.Descriptor())) {
        if (!source.Receive(datagram, error)) {
            return Fail(error);
        }
        if (datagram && !Show(arguments, *datagram)) {
            break;
        }
    }
    return kFailed;
}

} // namespace beaconctl
