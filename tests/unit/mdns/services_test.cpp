#include "mdns/dns_sd.h"

#include <gmock/gmock.h>

using namespace mdns;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PublishedServices : public testing::Test
{
protected:
    [[nodiscard]] std::vector<std::string> listed() const
    {
        std::vector<std::string> texts;
        for (const Service &service : m_services) {
            texts.push_back(service.type + (":" + std::to_string(service.port)));
        }
        return texts;
    }

    Services m_services;
};

std::vector<std::string> strings(const AvahiStringList *list)
{
    std::vector<std::string> texts;
    for (; list != nullptr; list = list->next) {
        texts.emplace_back(reinterpret_cast<const char *>(list->text), list->size);
    }
    return texts;
}

TEST_F(PublishedServices, AreListedNewestFirst)
{
    const char *const type = "_http._tcp";
    const Service &service = findOrAddService(m_services, type, 80);
    EXPECT_EQ(service.type, type) << "the text itself, not a copy";
    EXPECT_EQ(service.port, 80);
    EXPECT_EQ(service.txt, nullptr);
    const Service &newer = findOrAddService(m_services, "_ftp._tcp", 21);
    EXPECT_EQ(&newer, &m_services.front());
    EXPECT_THAT(listed(), ElementsAre("_ftp._tcp:21", "_http._tcp:80"));
}

TEST_F(PublishedServices, AreFoundByTheTextOfTheTypeAndThePort)
{
    Service &service = findOrAddService(m_services, "_http._tcp", 80);
    (void)findOrAddService(m_services, "_ftp._tcp", 21);
    const std::string sameText("_http._tcp");
    EXPECT_EQ(&findOrAddService(m_services, sameText.c_str(), 80), &service);
    EXPECT_NE(&findOrAddService(m_services, "_http._tcp", 21), &service);
    EXPECT_NE(&findOrAddService(m_services, "_https._tcp", 80), &service);
    EXPECT_THAT(listed(),
                ElementsAre("_https._tcp:80", "_http._tcp:21", "_ftp._tcp:21", "_http._tcp:80"));
}

TEST_F(PublishedServices, AreRemovedFromTheFrontTheMiddleAndTheEnd)
{
    for (const int port : {1, 2, 3, 4}) {
        (void)findOrAddService(m_services, "_http._tcp", port);
    }
    EXPECT_TRUE(removeService(m_services, "_http._tcp", 3));
    EXPECT_THAT(listed(), ElementsAre("_http._tcp:4", "_http._tcp:2", "_http._tcp:1"));
    EXPECT_TRUE(removeService(m_services, "_http._tcp", 1));
    EXPECT_TRUE(removeService(m_services, "_http._tcp", 4));
    EXPECT_THAT(listed(), ElementsAre("_http._tcp:2"));
    EXPECT_TRUE(removeService(m_services, "_http._tcp", 2));
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(PublishedServices, AreUnchangedIfTheServiceToRemoveIsMissing)
{
    EXPECT_FALSE(removeService(m_services, "_http._tcp", 80));
    (void)findOrAddService(m_services, "_http._tcp", 80);
    EXPECT_FALSE(removeService(m_services, "_http._tcp", 81));
    EXPECT_FALSE(removeService(m_services, "_http._udp", 80));
    EXPECT_THAT(listed(), ElementsAre("_http._tcp:80"));
}

// Avahi adds at the front, and reverses the list when it writes the record.
TEST(TxtStrings, AreInUtf8)
{
    const TxtStrings list =
        makeTxtStrings({QStringLiteral("txtvers=1"), QStringLiteral("path=/\u00f6")});
    EXPECT_THAT(strings(list.get()), ElementsAre("path=/\xc3\xb6", "txtvers=1"));
    EXPECT_EQ(makeTxtStrings({}), nullptr);
}

} // namespace
