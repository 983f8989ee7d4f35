#pragma once

#include "mdns/instance_name.h"
#include "mdns/published_service.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <memory>

// Mdns publishes the device's DNS-SD services over mDNS through the Avahi client
// library, driven by the Qt event loop. One for the process, never destroyed; all
// of it, Avahi's callbacks included, belongs to the thread that runs the loop.
//
// A name that another program of this host holds is changed by Avahi's rule
// (" #2" and so on) and tried again. When another device holds it, the same name
// is tried again and again until it is free; only the log lines change theirs.
// While avahi-daemon changes its own host name the services are withdrawn; they are
// published again under the new one.
// Any other failure of Avahi ends the process with status 1 after one line on
// standard error, so that whoever supervises the daemon starts it afresh:
// avahi-daemon missing at the start or gone later is such a failure. Progress is
// written to standard error; the logging category "beacond.mdns" has more at its
// debug level, which is off.
class Mdns : public QObject
{
    Q_OBJECT

public:
    // The one publisher; the first call makes it.
    [[nodiscard]] static Mdns *getInstance();

    // Connects to avahi-daemon under an instance name made from hostName (see
    // instance_name.h), and keeps serial and productName, of at most 31 bytes
    // each, for names made later. Called once, before anything is published.
    // REQUIRES: a QCoreApplication. The texts are copied.
    void init(const char *serial, const char *productName, const char *hostName);

    // Publishes a service: type such as "_http._tcp", which must stay valid as
    // long as the service is published, port in host byte order, 0 to 65535,
    // TXT strings. A service of that type and port gets the new TXT strings
    // instead. REQUIRES: no service of this type on another port, for both would
    // claim the same name.
    void publishMdnsEntry(const char *type, int port, const QStringList &txt);

    // Withdraws a service; one that was never published changes nothing.
    // REQUIRES: another one stays published, for Avahi commits no empty group and
    // its refusal ends the process.
    void unpublishMdnsEntry(const char *type, int port);

    // Sets the instance name (see instance_name.h) for the next time that
    // services are put into the group.
    void sanitizeAndSetHostService(const char *name);

    // Puts all services into the entry group and commits it, if it is empty.
    static void createServices();

    // Withdraws all services. REQUIRES: services were created before.
    static void resetGroup();

Q_SIGNALS:
    // Never emitted: declared so that connections to them by name succeed.
    void error(const char *errStr);
    void foundRegistry(char *address, int port, int pri, int version);
    void registryRemoved(char *addr, int port);

public Q_SLOTS:
    // Does nothing: the SSDP switch is no switch for DNS-SD, by which the
    // device's web page stays reachable.
    void enableHost(bool enable);
    // Publishes everything afresh, with the new addresses.
    void ipChanged();
    // Publishes everything under a new name, unless the name is the current one.
    void nameChanged(const QString &name);

private:
    Mdns() = default;

    static void clientCallback(AvahiClient *client, AvahiClientState state, void *userdata);
    static void entryGroupCallback(AvahiEntryGroup *group, AvahiEntryGroupState state,
                                   void *userdata);
    static void resetGroupIfAny();
    static void createGroup();
    [[nodiscard]] static bool addServices();
    static void commitGroup();
    static void renameInstance();
    static void renameLoggedService();

    static Mdns *m_instance;
    static char m_vexSerial[32];
    static char m_productName[32];
    static char m_vexHostName[kInstanceNameMax + 1]; // the instance name registered
    static char *m_serviceName;                      // its copy for log lines, from avahi_strdup
    static std::unique_ptr<PublishedService> m_pubServices;
    static const AvahiPoll *m_poll;
    static AvahiClient *m_client;    // null until init() has made it
    static AvahiEntryGroup *m_group; // null until services are created
};
