#pragma once

#include "formats/ssdp_device_type.h"

#include <string>
#include <tuple>

// All fields of a record except its flag, in the record's order. A comparison of two
// results shows the fields that differ.
inline auto FieldsExceptFlag(const SSDPDeviceType &r)
{
    const auto texts =
        std::tie(r.productName, r.modelName, r.modelNumber, r.modelDescription, r.serialNumber,
                 r.ipAddress, r.hostName, r.instance, r.boardID, r.notificationType, r.urlScheme,
                 r.reserved, r.usn, r.maxAge, r.location, r.descriptionFileName, r.server);
    return std::make_tuple(texts, r.timerPeriod, r.timerCountdown, r.repeatCount);
}

inline auto AllFields(const SSDPDeviceType &r)
{
    return std::make_tuple(FieldsExceptFlag(r), static_cast<int>(r.flag));
}

// A record in which every field has a different value.
inline SSDPDeviceType FullRecord()
{
    SSDPDeviceType record;
    record.productName = "Corvia 12";
    record.modelName = "Corvia 12 Plus";
    record.modelNumber = "0x10650001";
    record.modelDescription = "HD recorder";
    record.serialNumber = "4242";
    record.ipAddress = "192.0.2.10";
    record.hostName = "studio-a";
    record.instance = "0";
    record.boardID = "0x10650002";
    record.notificationType = "upnp:rootdevice";
    record.urlScheme = "http://";
    record.reserved = "carried";
    record.usn = "uuid:65746500-Corvia 12-192.0.2.10-0";
    record.maxAge = "1800";
    record.location = "http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml";
    record.descriptionFileName = "/var/www/html/corvia_12_upnp_ssdp_1.xml";
    record.server = "Linux/2.6, UPnP/1.0, SSDP/1.0";
    record.timerPeriod = 17000;
    record.timerCountdown = 9000;
    record.repeatCount = 2;
    record.flag = 7;
    return record;
}

// A device in the form that is passed to AddService.
inline SSDPDeviceType Device(const std::string &product, const std::string &address,
                             const std::string &hostName)
{
    SSDPDeviceType device;
    device.productName = product;
    device.modelName = product;
    device.ipAddress = address;
    device.hostName = hostName;
    device.instance = "0";
    device.notificationType = "upnp:rootdevice";
    device.usn = formats::MakeUSN(product, address, "0");
    return device;
}
