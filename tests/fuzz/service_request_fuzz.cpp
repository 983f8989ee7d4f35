// Requests to the configuration service: the same bytes give the same requests, whatever the
// size of the pieces in which they arrive, nothing exceeds its bound, and every accepted value is
// written as a text that is read as the same value.

#include "check.h"
#include "configd/http_message.h"
#include "configd/name.h"
#include "configd/net_device.h"
#include "configd/system_config.h"
#include "pieces.h"

#include <vector>

namespace {

using namespace configd;

struct Result
{
    std::vector<std::unique_ptr<Request>> requests;
    std::optional<Reply> fault;
};

Result ReadIn(const Pieces &pieces)
{
    Result result;
    RequestReader reader;
    for (const std::string_view piece : pieces) {
        reader.Feed(piece);
        while (auto request = reader.TakeRequest()) {
            result.requests.push_back(std::move(request));
        }
    }
    result.fault = reader.Fault();
    return result;
}

void CheckAlike(const Result &one, const Result &other)
{
    FUZZ_CHECK(one.requests.size() == other.requests.size());
    for (std::size_t i = 0; i < one.requests.size(); ++i) {
        const Request &a = *one.requests[i];
        const Request &b = *other.requests[i];
        FUZZ_CHECK(a.method == b.method && a.path == b.path && a.query == b.query);
        FUZZ_CHECK(a.body == b.body && a.isLocal == b.isLocal && a.keepAlive == b.keepAlive);
        FUZZ_CHECK(a.body.size() <= kLargestText);
    }
    // One reader may stop at a fault in a header earlier than the other. If both have a
    // fault, it is the same.
    FUZZ_CHECK(!one.fault || !other.fault || one.fault->body == other.fault->body);
}

void CheckBody(std::string_view body)
{
    SystemConfig config;
    if (!PatchSystemConfig(body, config)) {
        FUZZ_CHECK(!config.hostName || IsName(*config.hostName));
        for (const std::string &text : {SystemConfigText(config), StoredSystemConfigText(config)}) {
            SystemConfig again;
            FUZZ_CHECK(!ReadSystemConfig(text, again) && again == config);
        }
    }
    std::vector<NetDevice> devices;
    if (!ReadNetDevices(body, devices)) {
        const std::string text = NetDevicesText(devices);
        std::vector<NetDevice> again;
        FUZZ_CHECK(!ReadNetDevices(StoredNetDevicesText(devices), again));
        FUZZ_CHECK(NetDevicesText(again) == text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const Result whole = ReadIn({input});
    CheckAlike(whole, ReadIn(Cut(input)));
    for (const auto &request : whole.requests) {
        CheckBody(request->body);
    }
    CheckBody(input);
    return 0;
}
