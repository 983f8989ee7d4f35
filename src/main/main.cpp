#include "main/detach.h"
#include "mdns/mdns.h"
#include "pubsub/vex_pubsub.h"

#include <QCoreApplication>
#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace {

constexpr int kUnknownOption = 1;

// Reads the options; false, with the usage written, for an unknown one.
bool ReadOptions(int argc, char **argv, bool &daemonize)
{
    int option = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has one thread yet
    while ((option = getopt(argc, argv, "d")) != -1) {
        if (option != 'd') {
            std::cout << argv[0] << ": Unknown option \"" << static_cast<char>(option) << '"'
                      << std::endl;
            std::cout << "Possible options:"
                      << "\n  -d: debug (don't daemonize)" << std::endl;
            return false;
        }
        daemonize = false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    OwnDescriptors descriptors;
    const QCoreApplication application(argc, argv);
    descriptors.NoteOpened();
    bool daemonize = true;
    if (!ReadOptions(argc, argv, daemonize)) {
        return kUnknownOption;
    }
    if (daemonize) {
        std::cout << "Daemonize beacond" << std::endl;
        if (getppid() == 1) {
            return 0; // detached already: whoever starts us so wants no second daemon
        }
        Detach(descriptors.Get());
    } else {
        std::cout << "Run beacond as Non-Daemonized" << std::endl;
    }
    VEXPubSub *const coordinator = VEXPubSub::getInstance();
    Mdns *const publisher = Mdns::getInstance();
    coordinator->init(publisher);
    std::puts("PubSub started");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
