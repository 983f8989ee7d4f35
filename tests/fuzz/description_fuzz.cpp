// Description documents: the browse list of every accepted response is JSON with the same host
// name; a composed document is read with the same values. Memory and output are in proportion to
// the input.

#include "check.h"
#include "formats/browse_document.h"
#include "formats/description_document.h"
#include "formats/ssdp_device_type.h"
#include "memory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

std::size_t SizeOfTexts(const SSDPDeviceType &device)
{
    return device.hostName.size() + device.usn.size() + device.instance.size() +
           device.modelName.size() + device.productName.size() + device.modelNumber.size() +
           device.modelDescription.size() + device.ipAddress.size() + device.maxAge.size();
}

void CheckBrowseList(const SSDPDeviceType &device, std::size_t size)
{
    const formats::SSDPDeviceMap devices{{device.usn, device}};
    const MemoryCount memory;
    const std::string document = formats::ComposeBrowseDocument(devices);
    FUZZ_CHECK(memory.Allocated() <= document.size() + 1); // composed in place
    // Seven texts, which may overlap in the response, with escapes such as \u0001.
    FUZZ_CHECK(document.size() <= 256 + 7 * 6 * size);
    FUZZ_CHECK(document.size() == formats::SizeOfBrowseObject(device) + 1);
    const QJsonDocument json = QJsonDocument::fromJson(QString::fromStdString(document).toUtf8());
    FUZZ_CHECK(json.isArray() && json.array().size() == 1);
    const QJsonObject entry = json.array().at(0).toObject();
    FUZZ_CHECK(entry.value(QLatin1String("hostName")).toString() ==
               QString::fromStdString(device.hostName));
    FUZZ_CHECK(entry.value(QLatin1String("port")).toInt() == 80);
}

// Whether the first occurrence of an element's name is the element. An occurrence in an
// earlier text would hide the element.
bool IsReadable(const std::string &document, const std::string &name)
{
    return document.find(name) == document.find("<" + name + ">") + 1;
}

// A document composed from plain parts of the input is read with the same values.
void CheckRoundTrip(std::string_view input)
{
    SSDPDeviceType service;
    service.hostName = Plain(input.substr(0, input.size() / 3));
    service.modelDescription = Plain(input.substr(input.size() / 3, input.size() / 3));
    service.modelName = service.productName = Plain(input.substr(input.size() / 3 * 2));
    service.modelNumber = "0x10650001";
    service.ipAddress = "192.0.2.10";
    service.instance = "7";
    service.usn = formats::MakeUSN(service.productName, service.ipAddress, service.instance);
    const MemoryCount memory;
    const std::string document = formats::ComposeDescription(service, "file.xml", "http://m/");
    FUZZ_CHECK(memory.Allocated() <= document.size() + 1); // composed in place
    // The last third of the input is written three times: alone, in a URL and in the USN.
    FUZZ_CHECK(document.size() <= 1400 + 5 * input.size() / 3);
    const auto read =
        formats::ReadDescription(formats::ComposeGETResponse(document, document.size()));
    if (!IsReadable(document, "friendlyName") || !IsReadable(document, "UDN")) {
        return;
    }
    FUZZ_CHECK(read.has_value());
    FUZZ_CHECK(read->hostName == service.hostName);
    FUZZ_CHECK(read->usn == service.usn && read->instance == "7");
    if (IsReadable(document, "presentationURL")) {
        FUZZ_CHECK(read->ipAddress == service.ipAddress);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const MemoryCount memory;
    const auto device = formats::ReadDescription(input);
    // Each text is copied once. Besides, the presentation URL is copied, and the end of each
    // element is composed.
    FUZZ_CHECK(memory.Allocated() <= 512 + size + (device ? SizeOfTexts(*device) : 0));
    if (device) {
        FUZZ_CHECK(!device->usn.empty() && !device->maxAge.empty());
        FUZZ_CHECK(device->productName == device->modelName);
        FUZZ_CHECK(device->boardID.empty() && device->location.empty());
        FUZZ_CHECK(device->timerPeriod == 0 && device->timerCountdown == 0);
        CheckBrowseList(*device, size);
    }
    CheckRoundTrip(input);
    return 0;
}
