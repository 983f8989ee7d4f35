#pragma once

#include "ssdp/device_registry.h"

// Does what a registry asks for, without network and files, and counts it.
class QuietActions : public RegistryActions
{
public:
    void AnnounceService(const SSDPDeviceType & /*service*/) override { ++announced; }
    void AnnounceGoodbye(const SSDPDeviceType & /*service*/) override { ++goodbyes; }
    bool GenerateDeviceDescriptionFile(const std::string & /*interfaceAddress*/,
                                       SSDPDeviceType &service) override
    {
        service.timerPeriod = 15000;
        service.timerCountdown = 15000;
        return true;
    }
    void ReturnFileNumber(const std::string & /*descriptionFileName*/) override {}
    void SendGETRequest(std::string_view /*url*/) override { ++requests; }

    int announced = 0;
    int goodbyes = 0;
    int requests = 0;
};
