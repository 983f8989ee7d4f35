#pragma once

#include <QStringList>
#include <avahi-common/strlst.h>
#include <memory>

struct AvahiStringListDeleter
{
    void operator()(AvahiStringList *list) const { avahi_string_list_free(list); }
};

// PublishedService is one service to publish, and the head of the rest of a
// singly linked list of them, which it owns. One thread at a time.
struct PublishedService
{
    std::unique_ptr<PublishedService> next;
    int port;         // host byte order
    const char *type; // "_http._tcp"; the publisher's caller keeps the text
    std::unique_ptr<AvahiStringList, AvahiStringListDeleter> txt; // null: no TXT strings
};

// The service of that type (as text) and port; a new one without TXT strings,
// which becomes the head, when the list holds none.
[[nodiscard]] PublishedService &findOrAddService(std::unique_ptr<PublishedService> &head,
                                                 const char *type, int port);

// Takes the service of that type (as text) and port out of the list and frees
// it; false when the list holds none.
[[nodiscard]] bool removeService(std::unique_ptr<PublishedService> &head, const char *type,
                                 int port);

// The strings as UTF-8, added one after the other; the caller frees the list.
[[nodiscard]] AvahiStringList *makeTxtList(const QStringList &txt);
