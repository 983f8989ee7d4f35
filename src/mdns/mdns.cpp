#include "mdns/mdns.h"

#include "mdns/avahi_qt_poll.h"
#include "vexbase/vex_output.h"

#include <QLoggingCategory>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using vexbase::WriteFault;

namespace {

Q_LOGGING_CATEGORY(lcMdns, "beacond.mdns", QtInfoMsg)

// Ends the process after a failure whose line has been written.
[[noreturn]] void exitFailed()
{
    std::exit(1); // NOLINT(concurrency-mt-unsafe): no other thread calls exit
}

// Copies a text, cut to the size of the member, with a NUL at its end.
template <std::size_t Size>
void copyText(char (&to)[Size], const char *from)
{
    std::snprintf(to, Size, "%s", from);
}

const char *errorText(AvahiClient *client)
{
    return avahi_strerror(avahi_client_errno(client));
}

void reportRenaming(const char *name)
{
    WriteFault({"Service name collision, renaming service to '", name, "'"});
}

} // namespace

Mdns *Mdns::m_instance = nullptr;
char Mdns::m_vexSerial[32] = "";
char Mdns::m_productName[32] = "";
char Mdns::m_vexHostName[mdns::kInstanceNameMax + 1] = "";
char *Mdns::m_serviceName = nullptr;
mdns::Services Mdns::m_pubServices;
const AvahiPoll *Mdns::m_poll = nullptr;
AvahiClient *Mdns::m_client = nullptr;
AvahiEntryGroup *Mdns::m_group = nullptr;

Mdns *Mdns::getInstance()
{
    if (m_instance == nullptr) {
        m_instance = new Mdns;
    }
    return m_instance;
}

void Mdns::init(const char *serial, const char *productName, const char *hostName)
{
    m_poll = avahi_qt_poll_get();
    if (m_poll == nullptr) {
        WriteFault({"failed to get poll"});
        exitFailed();
    }
    // Deliberately called before the product name and the serial number are copied: the first
    // instance name never contains them.
    sanitizeAndSetHostService(hostName);
    copyText(m_vexSerial, serial);
    copyText(m_productName, productName);
    int error{};
    m_client = avahi_client_new(m_poll, AvahiClientFlags{}, clientCallback, nullptr, &error);
    if (m_client == nullptr) {
        WriteFault({"Failed to create client: ", avahi_strerror(error)});
        avahi_free(m_serviceName);
        m_serviceName = nullptr;
        exitFailed();
    }
}

void Mdns::sanitizeAndSetHostService(const char *name)
{
    copyText(m_vexHostName, mdns::instanceName(name, m_productName, m_vexSerial).c_str());
    avahi_free(m_serviceName);
    m_serviceName = avahi_strdup(m_vexHostName);
    WriteFault({"avahi host/service updating to: ", m_vexHostName});
}

void Mdns::publishMdnsEntry(const char *type, int port, const QStringList &txt)
{
    qCDebug(lcMdns, "publishing %s %d", type, port);
    mdns::findOrAddService(m_pubServices, type, port).txt = mdns::makeTxtStrings(txt);
    resetGroupIfAny();
    createServices();
}

void Mdns::unpublishMdnsEntry(const char *type, int port)
{
    qCDebug(lcMdns, "unpublishing %s %d", type, port);
    if (mdns::removeService(m_pubServices, type, port)) {
        resetGroupIfAny();
        createServices();
    }
}

// A group that is not empty stays as it is, so all changes of the services reset the
// group first.
void Mdns::createServices()
{
    if (m_client == nullptr) {
        WriteFault({"attempt to create services before init finished"});
        return;
    }
    if (m_group == nullptr) {
        createGroup();
    }
    while (avahi_entry_group_is_empty(m_group) != 0) {
        if (addServices()) {
            commitGroup();
            return;
        }
        renameInstance();
        resetGroup();
    }
}

void Mdns::createGroup()
{
    m_group = avahi_entry_group_new(m_client, entryGroupCallback, nullptr);
    if (m_group == nullptr) {
        WriteFault({"avahi_entry_group_new() failed: ", errorText(m_client)});
        exitFailed();
    }
}

// Returns false if another program of this host has the name. Some services may be in the
// group then.
bool Mdns::addServices()
{
    for (const mdns::Service &service : m_pubServices) {
        qCDebug(lcMdns, "Adding service %s %s", m_serviceName, service.type);
        const int result = avahi_entry_group_add_service_strlst(
            m_group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags{}, m_vexHostName,
            service.type, nullptr, nullptr, static_cast<std::uint16_t>(service.port),
            service.txt.get());
        if (result == AVAHI_ERR_COLLISION) {
            return false;
        }
        if (result < 0) {
            WriteFault({"Failed to add service ", m_vexHostName, ": ", avahi_strerror(result)});
            exitFailed();
        }
    }
    return true;
}

void Mdns::commitGroup()
{
    const int result = avahi_entry_group_commit(m_group);
    if (result < 0) {
        WriteFault({"error committing group - ", avahi_strerror(result)});
        exitFailed();
    }
}

// A collision that is found while adding changes the registered name. A collision that the
// group reports later (renameLoggedService) changes only the name in log lines. The
// difference is deliberate.
void Mdns::renameInstance()
{
    char *alternative = avahi_alternative_service_name(m_vexHostName);
    copyText(m_vexHostName, alternative);
    avahi_free(alternative);
    reportRenaming(m_vexHostName);
}

void Mdns::renameLoggedService()
{
    char *alternative = avahi_alternative_service_name(m_serviceName);
    avahi_free(m_serviceName);
    m_serviceName = alternative;
    reportRenaming(m_serviceName);
}

void Mdns::resetGroup()
{
    // Fails only if the client has failed, which clientCallback handles.
    avahi_entry_group_reset(m_group);
}

void Mdns::resetGroupIfAny()
{
    if (m_group != nullptr) {
        resetGroup();
    }
}

void Mdns::enableHost(bool /*enable*/) {}

void Mdns::ipChanged()
{
    resetGroupIfAny();
    qCDebug(lcMdns, "ip changed");
    createServices();
}

void Mdns::nameChanged(const QString &name)
{
    WriteFault({"name changed"});
    if (name == QLatin1String(m_vexHostName)) {
        return;
    }
    sanitizeAndSetHostService(name.toUtf8().constData());
    resetGroupIfAny();
    createServices();
}

// If avahi-daemon is running, avahi_client_new() itself calls back with RUNNING. m_client
// is not set yet, so this state is ignored; the first publishMdnsEntry() adds the services.
// A later RUNNING ends a change of avahi-daemon's own host name, for which the group was
// reset: the services are added again.
void Mdns::clientCallback(AvahiClient *client, AvahiClientState state, void * /*userdata*/)
{
    switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
        if (m_client != nullptr) {
            qCDebug(lcMdns, "client running");
            createServices();
        }
        break;
    case AVAHI_CLIENT_S_REGISTERING:
    case AVAHI_CLIENT_S_COLLISION:
        resetGroupIfAny();
        break;
    case AVAHI_CLIENT_FAILURE:
        WriteFault({"Client failure: ", errorText(client)});
        exitFailed();
    case AVAHI_CLIENT_CONNECTING:
        break;
    }
}

void Mdns::entryGroupCallback(AvahiEntryGroup *group, AvahiEntryGroupState state,
                              void * /*userdata*/)
{
    m_group = group; // avahi_entry_group_new() calls back before it returns
    switch (state) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED:
        WriteFault({"Service '", m_serviceName, "' successfully established."});
        break;
    case AVAHI_ENTRY_GROUP_COLLISION:
        renameLoggedService();
        createServices();
        break;
    case AVAHI_ENTRY_GROUP_FAILURE:
        WriteFault({"Entry group failure: ", errorText(avahi_entry_group_get_client(group))});
        exitFailed();
    case AVAHI_ENTRY_GROUP_UNCOMMITED:
    case AVAHI_ENTRY_GROUP_REGISTERING:
        break;
    }
}
