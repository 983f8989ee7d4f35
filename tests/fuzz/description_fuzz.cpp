// Description documents: the browse list of every accepted response is JSON with the same host
// name; a composed document is read with the same values.

#include "check.h"
#include "formats/browse_document.h"
#include "formats/description_document.h"
#include "formats/ssdp_device_type.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

void CheckBrowseList(const SSDPDeviceType &device)
{
    const std::string document = formats::ComposeBrowseDocument({{device.usn, device}});
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
    const std::string document = formats::ComposeDescription(service, "file.xml", "http://m/");
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
    if (const auto device = formats::ReadDescription(input)) {
        FUZZ_CHECK(!device->usn.empty() && !device->maxAge.empty());
        FUZZ_CHECK(device->productName == device->modelName);
        FUZZ_CHECK(device->boardID.empty() && device->location.empty());
        FUZZ_CHECK(device->timerPeriod == 0 && device->timerCountdown == 0);
        CheckBrowseList(*device);
    }
    CheckRoundTrip(input);
    return 0;
}
