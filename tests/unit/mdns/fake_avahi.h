#pragma once

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/strlst.h>
#include <deque>
#include <string>

// Replaces the functions of the Avahi client library that talk to avahi-daemon. The
// replacements work like the real functions, and most of them record their calls. A test can
// check these calls exactly, and can cause failures that a working avahi-daemon never has.
// Only one source file of a test program includes this file.

struct AvahiClient
{
    AvahiClientCallback callback;
};

struct AvahiEntryGroup
{
    AvahiClient *client;
    AvahiEntryGroupCallback callback;
    bool empty;
};

namespace fake {

struct State
{
    std::string calls; // one line for each call
    AvahiClient client{};
    AvahiEntryGroup group{};
    // Set by the test:
    AvahiClientState firstState = AVAHI_CLIENT_S_RUNNING;
    int clientError = 0;        // of avahi_client_new and avahi_client_errno
    bool refuseGroup = false;   // avahi_entry_group_new gives null
    std::deque<int> addResults; // results of the next adds; then 0
    int commitResult = 0;
};

inline State state;

inline void clientState(AvahiClientState newState)
{
    state.client.callback(&state.client, newState, nullptr);
}

inline void groupState(AvahiEntryGroupState newState)
{
    // As in avahi-core: a collision removes the entries from the group.
    state.group.empty = state.group.empty || newState == AVAHI_ENTRY_GROUP_COLLISION;
    state.group.callback(&state.group, newState, nullptr);
}

// The strings, each in quotes, the last one of the list first, as Avahi does. Not
// avahi_string_list_to_string(): its result depends on the signedness of char.
inline std::string text(AvahiStringList *strings)
{
    std::string result;
    for (; strings != nullptr; strings = avahi_string_list_get_next(strings)) {
        const std::string one(reinterpret_cast<const char *>(avahi_string_list_get_text(strings)),
                              avahi_string_list_get_size(strings));
        result.insert(0, "\"" + one + (result.empty() ? "\"" : "\" "));
    }
    return result;
}

} // namespace fake

extern "C" {

AvahiClient *avahi_client_new(const AvahiPoll *poll, AvahiClientFlags flags,
                              AvahiClientCallback callback, void *userdata, int *error)
{
    fake::state.calls += "client_new";
    fake::state.calls += poll == nullptr ? " no poll" : "";
    fake::state.calls += flags == 0 && userdata == nullptr ? "\n" : " flags or userdata\n";
    *error = fake::state.clientError;
    if (fake::state.clientError != 0) {
        return nullptr;
    }
    fake::state.client.callback = callback;
    fake::clientState(fake::state.firstState);
    return &fake::state.client;
}

int avahi_client_errno(AvahiClient * /*client*/)
{
    return fake::state.clientError;
}

AvahiEntryGroup *avahi_entry_group_new(AvahiClient *client, AvahiEntryGroupCallback callback,
                                       void *userdata)
{
    fake::state.calls += userdata == nullptr ? "group_new\n" : "group_new userdata\n";
    if (fake::state.refuseGroup) {
        return nullptr;
    }
    fake::state.group = {client, callback, true};
    fake::groupState(AVAHI_ENTRY_GROUP_UNCOMMITED);
    return &fake::state.group;
}

AvahiClient *avahi_entry_group_get_client(AvahiEntryGroup *group)
{
    return group->client;
}

int avahi_entry_group_is_empty(AvahiEntryGroup *group)
{
    fake::state.calls += "is_empty\n";
    return group->empty ? 1 : 0;
}

int avahi_entry_group_reset(AvahiEntryGroup *group)
{
    fake::state.calls += "reset\n";
    group->empty = true;
    return 0;
}

int avahi_entry_group_add_service_strlst(AvahiEntryGroup *group, AvahiIfIndex interface,
                                         AvahiProtocol protocol, AvahiPublishFlags flags,
                                         const char *name, const char *type, const char *domain,
                                         const char *host, uint16_t port, AvahiStringList *txt)
{
    fake::state.calls += std::string("add '") + name + "' " + type + " " + std::to_string(port) +
                         " " + fake::text(txt);
    const bool plain = interface == AVAHI_IF_UNSPEC && protocol == AVAHI_PROTO_UNSPEC &&
                       flags == 0 && domain == nullptr && host == nullptr;
    fake::state.calls += plain ? "\n" : " not as the defaults are\n";
    if (fake::state.addResults.empty()) {
        group->empty = false;
        return 0;
    }
    const int result = fake::state.addResults.front();
    fake::state.addResults.pop_front();
    group->empty = group->empty && result < 0;
    return result;
}

int avahi_entry_group_commit(AvahiEntryGroup *group)
{
    fake::state.calls += "commit\n";
    return group->empty ? AVAHI_ERR_IS_EMPTY : fake::state.commitResult;
}

} // extern "C"
