#include "mdns/published_service.h"

#include <cstring>

namespace {

using Link = std::unique_ptr<PublishedService>;

// The link that holds the service, or the empty one at the end of the list.
Link &findLink(Link &head, const char *type, int port)
{
    Link *link = &head;
    while (*link && ((*link)->port != port || std::strcmp((*link)->type, type) != 0)) {
        link = &(*link)->next;
    }
    return *link;
}

} // namespace

PublishedService &findOrAddService(std::unique_ptr<PublishedService> &head, const char *type,
                                   int port)
{
    if (const Link &found = findLink(head, type, port)) {
        return *found;
    }
    head.reset(new PublishedService{std::move(head), port, type, nullptr});
    return *head;
}

bool removeService(std::unique_ptr<PublishedService> &head, const char *type, int port)
{
    Link &link = findLink(head, type, port);
    if (!link) {
        return false;
    }
    link = std::move(link->next);
    return true;
}

AvahiStringList *makeTxtList(const QStringList &txt)
{
    AvahiStringList *list = nullptr;
    for (const QString &text : txt) {
        list = avahi_string_list_add(list, text.toUtf8().constData());
    }
    return list;
}
