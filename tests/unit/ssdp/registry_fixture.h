#pragma once

#include "formats/description_document.h"
#include "ssdp/device_registry.h"
#include "support/records.h"

#include "support/capture.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Does what the engine does for its registry, on paper: every call is noted as
// one line, in order.
class RecordingActions final : public RegistryActions
{
public:
    static constexpr std::int32_t kDocumentPeriod = 20000;

    void AnnounceService(const SSDPDeviceType &service) override
    {
        calls.push_back("alive " + service.usn);
        announced = service;
    }

    void AnnounceGoodbye(const SSDPDeviceType &service) override
    {
        calls.push_back("byebye " + service.usn);
        dismissed = service;
    }

    bool GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                       SSDPDeviceType &service) override
    {
        calls.push_back("document " + interfaceAddress + " " + service.usn);
        if (!writable) {
            return false;
        }
        const std::string fileName = formats::DescriptionFileName(service.productName, ++documents);
        service.timerPeriod = kDocumentPeriod;
        service.timerCountdown = kDocumentPeriod;
        service.location = "http://" + interfaceAddress + ":80/" + fileName;
        service.descriptionFileName = "/var/www/html/" + fileName;
        return true;
    }

    void ReturnFileNumber(const std::string &descriptionFileName) override
    {
        calls.push_back("return " + descriptionFileName);
    }

    void SendGETRequest(std::string_view url) override
    {
        calls.push_back("get " + std::string(url));
    }

    bool writable = true;
    std::uint32_t documents = 0; // written so far; the number in the last one's name
    std::vector<std::string> calls;
    SSDPDeviceType announced; // the record of the last alive
    SSDPDeviceType dismissed; // the record of the last byebye
};

// A registry on the address 192.0.2.10 with a poll interval of 5000 ms, and
// devices to put into it.
class RegistryFixture : public testing::Test
{
protected:
    using Calls = std::vector<std::string>;

    RegistryFixture()
    {
        registry.AddInterface("192.0.2.10", "net0");
        registry.SetPollInterval(5000);
    }

    static SSDPDeviceType Own() { return Device("Corvia 12", "192.0.2.10", "studio-a"); }
    // A device that speaks for itself.
    static SSDPDeviceType Peer() { return Device("Lumen", "192.0.2.20", "studio-b"); }
    // A device that can be spoken for.
    static SSDPDeviceType Silent() { return Device("ZR1", "192.0.2.30", "field-1"); }

    // What the description document of a device makes of it.
    static SSDPDeviceType Described(SSDPDeviceType device)
    {
        device.modelNumber = "0x10660001";
        device.maxAge = "120";
        device.timerPeriod = 120000;
        device.timerCountdown = 240000;
        return device;
    }

    void Add(SSDPDeviceType service) { registry.AddService(service); }

    // One pass; the calls it made.
    Calls Pass(std::int32_t elapsed)
    {
        actions.calls.clear();
        registry.UpdateContainers(elapsed);
        return std::exchange(actions.calls, {});
    }

    // Adds a service and runs a pass in which no time goes by.
    Calls AddNow(const SSDPDeviceType &service)
    {
        Add(service);
        return Pass(0);
    }

    // Makes the device announce the silent one: it is added, its time runs out,
    // it is added again.
    void TakeOver(const SSDPDeviceType &silent)
    {
        AddNow(silent);
        Pass(30000);
        AddNow(silent);
        ASSERT_NE(Host(silent.usn), nullptr);
        ForgetChange();
    }

    Calls Alive(const std::string &usn, std::int32_t maxAge = 1800,
                const std::string &location = "http://192.0.2.20:80/peer.xml")
    {
        actions.calls.clear();
        registry.UpdateDevice({"upnp:rootdevice", usn, location}, maxAge);
        return std::exchange(actions.calls, {});
    }

    Calls Byebye(const std::string &usn)
    {
        actions.calls.clear();
        registry.RemoveDevice({"upnp:rootdevice", usn, "http://192.0.2.20:80/peer.xml"});
        return std::exchange(actions.calls, {});
    }

    // Whether the list has changed since this was last asked.
    bool ForgetChange()
    {
        SSDPDeviceMap copy;
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

    RecordingActions actions;
    DeviceRegistry registry{actions};

private:
    static const SSDPDeviceType *Find(const SSDPDeviceMap &list, const std::string &usn)
    {
        const auto found = list.find(usn);
        return found == list.end() ? nullptr : &found->second;
    }
};
