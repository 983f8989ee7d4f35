#include "browser/vex_browser.h"
#include "main/detach.h"
#include "main/leaving.h"
#include "mdns/mdns.h"
#include "pubsub/vex_pubsub.h"
#include "vexbase/vex_memory.h"
#include "vexbase/vex_output.h"

#include <QCoreApplication>
#include <unistd.h>

namespace {

// Qt itself would write by stdio, which waits for slow readers.
void WriteQtMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    vexbase::WriteFault({qFormatLogMessage(type, context, message).toStdString()});
}

} // namespace

int main(int argc, char **argv)
{
    vexbase::ShareOneHeap();
    qInstallMessageHandler(WriteQtMessage);
    beacond::OwnDescriptors descriptors;
    const QCoreApplication application(argc, argv);
    descriptors.NoteOpened();
    bool daemonize = true;
    if (!beacond::ReadOptions(argc, argv, daemonize)) {
        return 1;
    }
    if (daemonize) {
        vexbase::WriteProgress({"Daemonize beacond"});
        if (getppid() == 1) {
            return 0; // process 1 started us, so there is no terminal to detach from
        }
        beacond::Detach(descriptors.Get());
    } else {
        vexbase::WriteProgress({"Run beacond as Non-Daemonized"});
    }
    beacond::Leaving leaving(VEXBrowser::RemoveList);
    VEXPubSub *const coordinator = VEXPubSub::getInstance();
    leaving.SetDuty([coordinator] { coordinator->leave(); });
    coordinator->init(Mdns::getInstance());
    vexbase::WriteProgress({"PubSub started"});
    const int status = QCoreApplication::exec();
    coordinator->leave(); // again: this thread may have opened the engine meanwhile
    return status;
}
