#include "allocation_counter.h"
#include "formats/browse_document.h"
#include "formats/ssdp_device_type.h"
#include "formats/ssdp_headers.h"
#include "formats/ssdp_messages.h"
#include "ssdp/device_registry.h"
#include "support/fake_environment.h"

#include <benchmark/benchmark.h>
#include <limits>
#include <malloc.h>
#include <string>

// The cost of receiving and listing, without a network.

namespace {

// Reports the number of allocations of an iteration, in addition to its time.
class AllocationCounter
{
public:
    explicit AllocationCounter(benchmark::State &state)
        : mState(state), mStart(bench::Allocations())
    {
    }
    AllocationCounter(const AllocationCounter &) = delete;
    AllocationCounter &operator=(const AllocationCounter &) = delete;
    ~AllocationCounter()
    {
        mState.counters["allocations"] = benchmark::Counter(
            static_cast<double>(bench::Allocations() - mStart), benchmark::Counter::kAvgIterations);
    }

private:
    benchmark::State &mState;
    std::size_t mStart;
};

// The registry and the objects that it needs, without a network.
struct Core
{
    test::FakeEnvironment environment;
    ssdp::OwnLink link;
    ssdp::Timing timing{environment};
    ssdp::DocumentExchange documents{environment, link, timing};
    ssdp::DeviceRegistry registry{environment, link, timing, documents};
};

// The record of a peer, as read from its description document.
SSDPDeviceType Peer(int number)
{
    SSDPDeviceType peer;
    peer.productName = peer.modelName = "Corvia 12 Plus";
    peer.modelNumber = peer.boardID = "0x10650002";
    peer.modelDescription = "HD recorder";
    peer.ipAddress = "192.0.2." + std::to_string(number);
    peer.hostName = "studio-" + std::to_string(number);
    peer.instance = "0";
    peer.usn = formats::MakeUSN(peer.productName, peer.ipAddress, peer.instance);
    peer.maxAge = "120";
    peer.timerPeriod = 120000;
    peer.timerCountdown = 240000;
    return peer;
}

formats::NTSHeader AliveOf(const std::string &usn)
{
    return {"upnp:rootdevice", usn, "http://192.0.2.1:80/x.xml", {}};
}

// Enters peers and their announcements. Real peers, too, announce themselves within some
// seconds after their description.
void Fill(ssdp::DeviceRegistry &registry, int count)
{
    for (int number = 0; number < count; ++number) {
        registry.EnterDescription(Peer(number));
    }
    for (int number = 0; number < count; ++number) {
        registry.UpdateDevice(AliveOf(Peer(number).usn), 120);
    }
    formats::SSDPDeviceMap taken;
    registry.TakeChange(taken);
}

void ClassifyAndScanNotify(benchmark::State &state)
{
    SSDPDeviceType service = Peer(1);
    service.notificationType = "upnp:rootdevice";
    service.location = "http://192.0.2.1:80/corvia_12_plus_upnp_ssdp_1.xml";
    std::string notify = formats::ComposeAlive(service);
    notify.insert(notify.size() - 2, "X-PADDING: " + std::string(300, 'x'));
    notify.resize(298);
    notify += "\r\n";
    const AllocationCounter counter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(formats::ClassifyMethod(notify));
        benchmark::DoNotOptimize(formats::ScanHeaders(notify));
    }
}
BENCHMARK(ClassifyAndScanNotify);

void AliveOfKnownPeer(benchmark::State &state)
{
    Core core;
    ssdp::DeviceRegistry &registry = core.registry;
    const auto count = static_cast<int>(state.range(0));
    Fill(registry, count);
    std::vector<std::string> usns;
    for (int number = 0; number < count; ++number) {
        usns.push_back(Peer(number * 7919 % count).usn);
    }
    std::size_t next = 0;
    const AllocationCounter counter(state);
    for (auto _ : state) {
        registry.UpdateDevice(AliveOf(usns[next]), 120);
        next = next + 1 == usns.size() ? 0 : next + 1;
    }
}
BENCHMARK(AliveOfKnownPeer)->Arg(1)->Arg(100)->Arg(1000)->Arg(4000);

std::size_t TextBytes(const SSDPDeviceType &device)
{
    std::size_t sum = 0;
    for (const std::string *text :
         {&device.productName, &device.modelName, &device.modelNumber, &device.modelDescription,
          &device.serialNumber, &device.ipAddress, &device.hostName, &device.instance,
          &device.boardID, &device.notificationType, &device.urlScheme, &device.reserved,
          &device.usn, &device.maxAge, &device.location, &device.descriptionFileName,
          &device.server}) {
        sum += text->size();
    }
    return sum;
}

// The memory for one known peer, and the bytes of its texts for comparison.
void MemoryOfPeers(benchmark::State &state)
{
    const auto count = static_cast<int>(state.range(0));
    std::size_t taken = 0;
    for (auto _ : state) {
        Core core;
        const std::size_t before = bench::LiveBytes();
        Fill(core.registry, count);
        taken = bench::LiveBytes() - before;
    }
    state.counters["taken"] = static_cast<double>(taken) / count;
    state.counters["texts"] = static_cast<double>(TextBytes(Peer(count - 1)));
}
BENCHMARK(MemoryOfPeers)->Arg(100)->Arg(4000)->Iterations(1);

void PassWithoutChange(benchmark::State &state)
{
    Core core;
    ssdp::DeviceRegistry &registry = core.registry;
    Fill(registry, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        registry.UpdateContainers(0);
    }
}
BENCHMARK(PassWithoutChange)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(4000)
    ->Unit(benchmark::kMicrosecond);

void ExpiryOfAll(benchmark::State &state)
{
    Core core;
    ssdp::DeviceRegistry &registry = core.registry;
    for (auto _ : state) {
        state.PauseTiming();
        Fill(registry, static_cast<int>(state.range(0)));
        state.ResumeTiming();
        registry.UpdateContainers(240001);
    }
    if (!registry.NodeList().empty()) {
        state.SkipWithError("peers are left");
    }
}
BENCHMARK(ExpiryOfAll)->Arg(1000)->Arg(4000)->Unit(benchmark::kMicrosecond);

// Keeps freed memory in the program. Otherwise memory at the end of the heap would be returned
// to the kernel, and then a copy takes twice as long.
void KeepFreedMemory()
{
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
}

void CopyOfChange(benchmark::State &state)
{
    KeepFreedMemory();
    Core core;
    ssdp::DeviceRegistry &registry = core.registry;
    Fill(registry, static_cast<int>(state.range(0)));
    formats::SSDPDeviceMap copy;
    for (auto _ : state) {
        state.PauseTiming();
        registry.EnterDescription(Peer(0));
        copy.clear();
        state.ResumeTiming();
        benchmark::DoNotOptimize(registry.TakeChange(copy));
    }
}
BENCHMARK(CopyOfChange)->Arg(10)->Arg(100)->Arg(1000)->Arg(4000)->Unit(benchmark::kMicrosecond);

void BrowseDocument(benchmark::State &state)
{
    formats::SSDPDeviceMap devices;
    for (int number = 0; number < static_cast<int>(state.range(0)); ++number) {
        const SSDPDeviceType peer = Peer(number);
        devices.emplace(peer.usn, peer);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(formats::ComposeBrowseDocument(devices));
    }
}
BENCHMARK(BrowseDocument)->Arg(10)->Arg(100)->Arg(1000)->Arg(4000)->Unit(benchmark::kMicrosecond);

} // namespace
