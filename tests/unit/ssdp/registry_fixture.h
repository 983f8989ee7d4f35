#pragma once

#include "formats/description_document.h"
#include "formats/ssdp_messages.h"
#include "ssdp/device_registry.h"
#include "support/fake_environment.h"
#include "support/records.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

// A registry with the parts that it needs, of a device at 192.0.2.10/24. The random numbers
// give a poll interval of 5000 ms and an announcement period of 20 s.
struct RegistryWithParts
{
    explicit RegistryWithParts(test::FakeEnvironment &environment)
        : link(MakeLink()),
          timing(environment),
          documents(environment, link, timing),
          registry(environment, link, timing, documents)
    {
        environment.random = 750;
        timing.DrawPollInterval();
        environment.random = 5;
        documents.SetPath("/var/www/html");
    }

    static ssdp::OwnLink MakeLink()
    {
        ssdp::OwnLink link;
        link.AddInterface("192.0.2.10", "net0", test::AddressOf("255.255.255.0"));
        return link;
    }

    ssdp::OwnLink link;
    ssdp::Timing timing;
    ssdp::DocumentExchange documents;
    ssdp::DeviceRegistry registry;
};

// A registry, and devices for it. Each effect of the registry is recorded as a call:
// "alive USN", "byebye USN", "document PATH", "return PATH" or "get URL".
class RegistryFixture : public testing::Test
{
protected:
    using Calls = std::vector<std::string>;

    static SSDPDeviceType Own() { return Device("Corvia 12", "192.0.2.10", "studio-a"); }
    // A device that is never proxied.
    static SSDPDeviceType Peer() { return Device("Lumen", "192.0.2.20", "studio-b"); }
    // A device that can be proxied.
    static SSDPDeviceType Silent() { return Device("ZR1", "192.0.2.30", "field-1"); }

    // The record that the description document of a device makes.
    static SSDPDeviceType Described(SSDPDeviceType device)
    {
        device.modelNumber = "0x10660001";
        device.maxAge = "120";
        device.timerPeriod = 120000;
        device.timerCountdown = 240000;
        return device;
    }

    // The record of a service after its publication, with the number of its document. A
    // missing max-age becomes 125 s.
    static SSDPDeviceType Published(SSDPDeviceType service, std::uint32_t number)
    {
        const std::string file = formats::DescriptionFileName(service.productName, number);
        service.timerPeriod = 20000;
        service.timerCountdown = 20000;
        service.maxAge = service.maxAge.empty() ? "125" : service.maxAge;
        service.server = "Linux/2.6, UPnP/1.0, SSDP/1.0";
        service.location = "http://192.0.2.10:80/" + file;
        service.descriptionFileName = "/var/www/html/" + file;
        return service;
    }

    void Add(SSDPDeviceType service) { registry.AddService(service); }

    // Runs one pass. Returns its calls.
    Calls Pass(std::int32_t elapsedMs)
    {
        TakeCalls();
        registry.UpdateContainers(elapsedMs);
        return TakeCalls();
    }

    // Adds a service and runs a pass of 0 ms.
    Calls AddNow(const SSDPDeviceType &service)
    {
        Add(service);
        return Pass(0);
    }

    // Makes this device proxy a silent one: it is added, its time runs out, it is added
    // again.
    void TakeOver(const SSDPDeviceType &silent)
    {
        AddNow(silent);
        Pass(30000);
        AddNow(silent);
        ASSERT_NE(Host(silent.usn), nullptr);
        TakeChange();
    }

    Calls Alive(const std::string &usn, std::int32_t maxAge = 1800,
                const std::string &location = "http://192.0.2.20:80/peer.xml")
    {
        TakeCalls();
        registry.UpdateDevice({"upnp:rootdevice", usn, location, test::AddressOf("192.0.2.20")},
                              maxAge);
        return TakeCalls();
    }

    Calls Byebye(const std::string &usn)
    {
        TakeCalls();
        registry.RemoveDevice({"upnp:rootdevice", usn, "http://192.0.2.20:80/peer.xml"});
        return TakeCalls();
    }

    // Returns and clears the recorded calls. Delayed requests are sent first.
    Calls TakeCalls()
    {
        parts.documents.CollectDue(std::numeric_limits<std::uint32_t>::max());
        while (parts.documents.SendDue()) {
        }
        environment.TakeSent();
        Calls calls;
        for (const std::string &entry : std::exchange(environment.log, {})) {
            calls.push_back(CallOf(entry));
        }
        return calls;
    }

    // Clears the change flag. Returns whether it was set.
    bool TakeChange()
    {
        formats::SSDPDeviceMap copy;
        return registry.TakeChange(copy);
    }

    [[nodiscard]] const SSDPDeviceType *Host(const std::string &usn) const
    {
        return Find(registry.HostList(), usn);
    }
    [[nodiscard]] const SSDPDeviceType *Node(const std::string &usn) const
    {
        return Find(registry.NodeList(), usn);
    }

    test::FakeEnvironment environment;
    RegistryWithParts parts{environment};
    ssdp::DeviceRegistry &registry = parts.registry;
    ssdp::OwnLink &link = parts.link;
    std::string lastMulticast; // the last datagram to the group

private:
    static const SSDPDeviceType *Find(const formats::SSDPDeviceMap &list, const std::string &usn)
    {
        const auto found = list.find(usn);
        return found == list.end() ? nullptr : &found->second;
    }

    static std::string Between(const std::string &text, const std::string &from,
                               const std::string &to)
    {
        const std::size_t start = text.find(from) + from.size();
        return text.substr(start, text.find(to, start) - start);
    }

    // The call of an entry in the log of the fake environment.
    std::string CallOf(const std::string &entry)
    {
        const std::string toGroup = "send multicast ";
        if (entry.rfind(toGroup, 0) == 0) {
            lastMulticast = entry.substr(toGroup.size());
            return Between(entry, "NTS: ssdp:", "\r\n") + " " + Between(entry, "USN: ", "\r\n");
        }
        return entry.rfind("send ", 0) == 0 ? "get " + Between(entry, "GET ", " HTTP") : entry;
    }
};
