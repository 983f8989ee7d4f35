#pragma once

#include "mdns/dns_sd.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <avahi-client/client.h>
#include <avahi-client/publish.h>

// Mdns publishes the device's DNS-SD services over mDNS. It uses the Avahi client library
// on the Qt event loop. There is one instance in the process; it is never destroyed. Only the
// thread that runs the event loop may use it, and Avahi's callbacks run there, too.
//
// If another program of this host has the name, Avahi's alternative name is used (" #2"
// and so on). If another device has it, the same name is tried again until it is free;
// only the name in the log lines changes. While avahi-daemon changes its own host name,
// the services are withdrawn; then they are published again.
//
// Failures: every fault except a name collision ends the process with status 1 after a line
// on standard error; its supervisor starts it again. A missing avahi-daemon is such a fault,
// at the start and later. Progress is written to standard error, too. The debug level of the
// logging category "beacond.mdns" has more lines; it is off by default.
class Mdns : public QObject
{
    Q_OBJECT

public:
    // The publisher; the first call makes it.
    [[nodiscard]] static Mdns *getInstance();

    // Connects to avahi-daemon. The instance name is made from hostName (see
    // mdns::instanceName); the first 31 bytes of serial and productName are kept for names
    // that are made later. The texts are copied. Called once, before the first
    // publication. REQUIRES: a QCoreApplication.
    void init(const char *serial, const char *productName, const char *hostName);

    // Publishes a service with a type, for instance "_http._tcp", a port in host byte
    // order, 0 to 65535, and TXT strings. If a service of that type and port is published,
    // its TXT strings are replaced. REQUIRES: the text of type exists as long as the
    // service is published; no service of this type has another port, because both would
    // have the same name.
    void publishMdnsEntry(const char *type, int port, const QStringList &txt);

    // Withdraws a service; does nothing if it was not published. REQUIRES: another service
    // is published, because Avahi refuses an empty group, and that ends the process.
    void unpublishMdnsEntry(const char *type, int port);

    // Sets the instance name (see mdns::instanceName) with which services are next added
    // to the entry group.
    void sanitizeAndSetHostService(const char *name);

    // Adds all services to the entry group and commits it. Does nothing if the group is not
    // empty. Before init, only writes a line.
    static void createServices();

    // Withdraws all services. REQUIRES: createServices was called after init.
    static void resetGroup();

Q_SIGNALS:
    // Never emitted. They exist so that connections by name succeed.
    void error(const char *errStr);
    void foundRegistry(char *address, int port, int pri, int version);
    void registryRemoved(char *addr, int port);

public Q_SLOTS:
    // Does nothing: the SSDP switch does not affect DNS-SD. The device's web page must stay
    // reachable.
    void enableHost(bool enable);
    // Publishes all services again, with the new addresses.
    void ipChanged();
    // Publishes all services with a new name. Only writes a line if name is the registered
    // instance name already.
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
    static char m_vexHostName[mdns::kInstanceNameMax + 1]; // the registered instance name
    static char *m_serviceName; // the name in log lines, from avahi_strdup()
    static mdns::Services m_pubServices;
    static const AvahiPoll *m_poll;
    static AvahiClient *m_client;    // null before init
    static AvahiEntryGroup *m_group; // null before createServices
};
