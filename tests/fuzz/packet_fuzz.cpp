// Datagrams on the SSDP port, each on the road of its method: headers lie within
// it, numbers within their bounds, and none withdraws the device's own service.

#include "check.h"
#include "formats/description_document.h"
#include "formats/description_exchange.h"
#include "quiet_actions.h"
#include "ssdp/search_target.h"

namespace {

SSDPDeviceType OwnService()
{
    SSDPDeviceType own;
    own.productName = "ZR1"; // the product that others may speak for
    own.ipAddress = "192.0.2.10";
    own.instance = "0";
    own.notificationType = "upnp:rootdevice";
    return own;
}

void HearNotify(DeviceRegistry &registry, std::string_view datagram)
{
    const formats::SSDPHeaders headers = formats::ScanHeaders(datagram);
    FUZZ_CHECK(IsWithin(headers.notify.nt, datagram));
    FUZZ_CHECK(IsWithin(headers.notify.usn, datagram));
    FUZZ_CHECK(IsWithin(headers.notify.location, datagram));
    FUZZ_CHECK(headers.maxAge <= formats::kLargestMaxAge);
    if (headers.kind == formats::NTSKind::Alive) {
        registry.UpdateDevice(headers.notify, headers.maxAge);
    } else if (headers.kind == formats::NTSKind::Byebye) {
        registry.RemoveDevice(headers.notify);
    }
}

void AnswerSearch(const DeviceRegistry &registry, std::string_view datagram)
{
    const std::string_view header = formats::ScanHeaders(datagram).searchTarget;
    FUZZ_CHECK(IsWithin(header, datagram));
    std::string target(header);
    ssdp::MatchSearchTarget(registry.HostList(), target, [&](const SSDPDeviceType &service) {
        FUZZ_CHECK(header == "ssdp:all" || target == service.usn ||
                   target == service.notificationType);
    });
}

void ReadResponse(DeviceRegistry &registry, std::string_view datagram)
{
    if (auto device = formats::ReadDescription(datagram)) {
        registry.EnterDescription(*device);
    }
    std::string_view usn;
    if (formats::ReadSearchResponseUSN(datagram, usn) == formats::SearchResponse::Read) {
        FUZZ_CHECK(IsWithin(usn, datagram));
        FUZZ_CHECK(registry.Knows(usn) == (registry.NodeList().count(usn) == 1));
    }
}

void Dispatch(DeviceRegistry &registry, std::string_view datagram)
{
    switch (formats::ClassifyMethod(datagram)) {
    case formats::Method::Notify:
        HearNotify(registry, datagram);
        break;
    case formats::Method::MSearch:
        AnswerSearch(registry, datagram);
        break;
    case formats::Method::Http:
        ReadResponse(registry, datagram);
        break;
    case formats::Method::Get:
        FUZZ_CHECK(IsWithin(formats::RequestedName(datagram), datagram));
        break;
    case formats::Method::Unknown:
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    QuietActions actions;
    DeviceRegistry registry(actions);
    registry.AddInterface("192.0.2.10", "net0");
    SSDPDeviceType own = OwnService();
    registry.AddService(own);
    registry.UpdateContainers(0);
    // Several datagrams, set apart by NULs.
    for (std::size_t start = 0; start < input.size();) {
        const std::string_view datagram = input.substr(start, input.find('\0', start) - start);
        Dispatch(registry, datagram);
        start += datagram.size() + 1;
    }
    registry.UpdateContainers(15000);
    FUZZ_CHECK(registry.HostList().size() == 1);
    FUZZ_CHECK(registry.HostList().begin()->first == own.usn);
    FUZZ_CHECK(actions.goodbyes == 0);
    for (const auto &[usn, device] : registry.NodeList()) {
        FUZZ_CHECK(usn == device.usn);
        FUZZ_CHECK(device.timerPeriod <= 1073741000U);
    }
    return 0;
}
