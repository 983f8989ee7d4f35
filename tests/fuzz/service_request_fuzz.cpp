// Requests to the configuration service: the same bytes give the same requests, whatever the
// size of the pieces in which they arrive, nothing exceeds its bound, and every accepted value is
// written as a text that is read as the same value. Memory and the written texts are in
// proportion to the input.

#include "check.h"
#include "configd/http_message.h"
#include "configd/name.h"
#include "configd/net_device.h"
#include "configd/system_config.h"
#include "memory.h"
#include "pieces.h"

#include <vector>

namespace {

using namespace configd;

struct Result
{
    std::vector<std::unique_ptr<Request>> requests;
    std::optional<Reply> fault;
};

// A request of 16 bytes, the shortest, costs the records of a request and of a parser.
constexpr std::size_t kFixedOfRequests = 2048;
constexpr std::size_t kPerByteOfRequests = 24;
// Reading JSON has a fixed cost. Besides, the path of each value is composed anew.
constexpr std::size_t kFixedOfBody = 4096;
constexpr std::size_t kPerByteOfBody = 160;

Result ReadIn(const Pieces &pieces, std::size_t size)
{
    const MemoryCount memory;
    Result result;
    RequestReader reader;
    for (const std::string_view piece : pieces) {
        reader.Feed(piece);
        while (auto request = reader.TakeRequest()) {
            result.requests.push_back(std::move(request));
        }
    }
    result.fault = reader.Fault();
    FUZZ_CHECK(memory.Allocated() <= kFixedOfRequests + kPerByteOfRequests * size);
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

void CheckSystemConfig(std::string_view body)
{
    const MemoryCount memory;
    SystemConfig config;
    const bool isPatch = !PatchSystemConfig(body, config);
    FUZZ_CHECK(memory.Allocated() <= kFixedOfBody + kPerByteOfBody * body.size());
    if (isPatch) {
        FUZZ_CHECK(!config.hostName || IsName(*config.hostName));
        for (const std::string &text : {SystemConfigText(config), StoredSystemConfigText(config)}) {
            FUZZ_CHECK(text.size() <= 64 + 2 * body.size());
            SystemConfig again;
            FUZZ_CHECK(!ReadSystemConfig(text, again) && again == config);
        }
    }
}

void CheckNetDevices(std::string_view body)
{
    const MemoryCount memory;
    std::vector<NetDevice> devices;
    const bool isList = !ReadNetDevices(body, devices);
    FUZZ_CHECK(memory.Allocated() <= kFixedOfBody + kPerByteOfBody * body.size());
    if (isList) {
        const MemoryCount writing;
        const std::string text = NetDevicesText(devices);
        FUZZ_CHECK(writing.Allocated() <= 512 + 16 * body.size());
        FUZZ_CHECK(text.size() <= 64 + 2 * body.size());
        std::vector<NetDevice> again;
        FUZZ_CHECK(!ReadNetDevices(StoredNetDevicesText(devices), again));
        FUZZ_CHECK(NetDevicesText(again) == text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const Result whole = ReadIn({input}, size);
    CheckAlike(whole, ReadIn(Cut(input), size));
    for (const auto &request : whole.requests) {
        CheckSystemConfig(request->body);
        CheckNetDevices(request->body);
    }
    CheckSystemConfig(input);
    CheckNetDevices(input);
    return 0;
}
