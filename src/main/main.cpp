#include "browser/vex_browser.h"
#include "main/detach.h"
#include "main/leaving.h"
#include "mdns/mdns.h"
#include "pubsub/vex_pubsub.h"

#include <QCoreApplication>
#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace {

// Reads the options; false, with the usage written, for an unknown one.
bool ReadOptions(int argc, char **argv, bool &daemonize)
{
    int option = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has one thread yet
    while ((option = getopt(argc, argv, "d")) != -1) {
        if (option != 'd') {
            std::cout << argv[0] << ": Unknown option \"" << static_cast<char>(option) << '"'
                      << std::endl;
            std::cout << "Possible options:\n  -d: debug (don't daemonize)" << std::endl;
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
        return 1;
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
    Leaving leaving(VEXBrowser::RemoveList);
    VEXPubSub *const coordinator = VEXPubSub::getInstance();
    leaving.SetDuty([coordinator] { coordinator->leave(); });
    coordinator->init(Mdns::getInstance());
    std::puts("PubSub started");
    std::fflush(stdout);
    const int status = QCoreApplication::exec();
    coordinator->leave(); // again, since this thread may have been in the midst of opening
    return status;
}
