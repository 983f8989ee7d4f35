#pragma once

#include "ssdp/ssdp_agent.h"
#include "support/fake_environment.h"
#include "support/records.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

// The protocol core that conversation_fuzz.cpp examines.

inline constexpr const char *kOwnAddress = "192.0.2.10";
inline constexpr const char *kNetmask = "255.255.255.128";

struct Service
{
    const char *product;
    const char *address;
};

// A protocol core with its environment.
struct Core
{
    explicit Core(std::uint32_t random)
    {
        environment.seeded = true;
        environment.random = random;
        agent.SetPath("/var/www/html");
        Open();
    }

    void Open()
    {
        agent.AddInterface(kOwnAddress, "net0", test::AddressOf(kNetmask));
        agent.Start();
    }

    // Returns the bytes that were read from documents.
    std::size_t Receive(std::string_view datagram, const sockaddr_in &sender, std::uint32_t nowMs)
    {
        if (const auto wanted = agent.ParseSSDPPacket(datagram, sender, nowMs)) {
            if (const auto document = environment.files.Read(wanted->name)) {
                agent.SendGETResponse(*wanted, *document, nowMs);
                return document->bytes;
            }
        }
        return 0;
    }

    void Tick(std::uint32_t elapsedMs)
    {
        agent.BeginTick(elapsedMs);
        while (agent.SendDue()) {
        }
        agent.UpdateContainers(elapsedMs);
    }

    void Add(const Service &service)
    {
        SSDPDeviceType device = Device(service.product, service.address, "studio-a");
        device.modelNumber = device.boardID = "0x10650001";
        agent.AddService(device);
    }

    // Frees the records of the environment: the core's memory alone remains.
    void ForgetRecords()
    {
        environment.sent = decltype(environment.sent)(); // = {} would keep the memory
        environment.faults = decltype(environment.faults)();
        environment.log = decltype(environment.log)();
        environment.files.documents.clear();
    }

    test::FakeEnvironment environment;
    ssdp::SSDPAgent agent{environment};
};
