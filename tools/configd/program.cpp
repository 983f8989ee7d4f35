#include "configd/program.h"

#include "configd/exit_status.h"
#include "configd/http_server.h"
#include "configd/interface_watch.h"
#include "configd/listening_socket.h"
#include "configd/options.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>

namespace configd {
namespace {

// A descriptor that becomes readable at SIGTERM or SIGINT.
vexbase::FileDescriptor OpenEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    vexbase::FileDescriptor descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
    if (descriptor.Descriptor() < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

// The longest pause before files that were not available are read again. systemd waits as long
// before it starts a failed service again.
constexpr int kRetryMs = 2000;

// How long poll may wait, in milliseconds; -1: for ever.
int WaitMs(const HttpServer &server, const Settings &settings)
{
    const int wait = server.WaitMs();
    return settings.Faults().empty() || (wait >= 0 && wait < kRetryMs) ? wait : kRetryMs;
}

void WriteFaults(const Settings &settings)
{
    for (const std::string &fault : settings.Faults()) {
        std::cerr << "beacon-configd: " << fault << "; using the defaults, refusing changes\n";
    }
}

void Follow(InterfaceWatch &watch, Settings &settings)
{
    settings.FollowDevices({watch.Read()});
}

// The main loop. watch is empty if clients set the devices.
void Serve(int end, HttpServer &server, std::optional<InterfaceWatch> &watch, Settings &settings)
{
    while (true) {
        std::array<pollfd, 3> waiting{{{end, POLLIN, 0},
                                       {server.Descriptor(), POLLIN, 0},
                                       {watch ? watch->Descriptor() : -1, POLLIN, 0}}};
        if (poll(waiting.data(), waiting.size(), WaitMs(server, settings)) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (waiting[0].revents != 0) {
            return;
        }
        if (waiting[2].revents != 0) {
            Follow(*watch, settings);
        }
        settings.LoadMissing();
        server.Run();
    }
}

void RunService(const Options &options)
{
    const vexbase::FileDescriptor end = OpenEndSignals();
    Settings settings(options.stateFile, options.devicesFile);
    WriteFaults(settings);
    std::optional<InterfaceWatch> watch;
    if (!settings.ClientsSetDevices()) {
        watch.emplace(options.interface);
        Follow(*watch, settings);
    }
    vexbase::FileDescriptor socket = OpenListeningSocket(options.port);
    const std::uint16_t port = PortOf(socket);
    HttpServer server(settings, std::move(socket));
    std::cout << "beacon-configd: listening on 127.0.0.1:" << port << '\n' << std::flush;
    Serve(end.Descriptor(), server, watch, settings);
}

} // namespace

int RunProgram(int argc, char **argv)
try {
    Options options;
    if (const auto status = ReadOptions(argc, argv, options)) {
        return *status;
    }
    std::signal(SIGPIPE, SIG_IGN); // writing to a closed connection fails instead
    RunService(options);
    return 0;
} catch (const Failure &failure) {
    std::cerr << "beacon-configd: " << failure.what() << '\n';
    return failure.Status();
} catch (const std::exception &error) {
    std::cerr << "beacon-configd: " << error.what() << '\n';
    return kTransient;
}

} // namespace configd
