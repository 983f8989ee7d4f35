// A conversation: two protocol cores with equal environments receive the same datagrams,
// pauses and calls of the coordinator, in any order. Both must send the same. They must
// announce their own services in time, send no document or request without a cause, and stay
// within the limits on what they send. They must list their own services, and use memory in
// proportion to what happens. When they have left the network, they must keep no entry, no number
// of a description document and little memory.
//
// An input is a sequence of steps, separated by NULs. A step is a letter and its argument:
//   d0 to d3  the rest is a datagram from one of kSenders
//   p         a pause of as many tenths of a second as the next byte says; then a tick
//   a, r      the coordinator adds (a) or removes (r) the service that the next byte selects
//   x         the coordinator removes all services with the product and the address of the
//             service that the next byte selects
//   g, l      the engine closes and sends goodbyes (g), or closes without goodbyes (l)
//   o         the engine opens
//   b         the send buffer becomes full, or has room again if it was full

#include "causes.h"
#include "check.h"
#include "conversation_core.h"
#include "formats/browse_document.h"
#include "formats/ssdp_headers.h"
#include "formats/ssdp_messages.h"
#include "memory.h"
#include "ssdp/ssdp_tunables.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <set>

namespace {

using formats::Method;
using Datagrams = std::vector<test::FakeEnvironment::Sent>;

const std::array<sockaddr_in, 4> kSenders{
    test::SocketAddressOf("192.0.2.11", formats::kPort), test::SocketAddressOf("192.0.2.12", 40000),
    test::SocketAddressOf(kOwnAddress, formats::kPort),
    test::SocketAddressOf("203.0.113.7", formats::kPort), // off the link
};

// Own services, devices that can be proxied, and a device that announces itself.
constexpr std::array<Service, 5> kServices{{{"Corvia 12", kOwnAddress},
                                            {"Lumen", kOwnAddress},
                                            {"ZR1", kOwnAddress},
                                            {"ZR1", "192.0.2.30"},
                                            {"TalonMx", "192.0.2.31"}}};
// The longest time between two announcements of an own service.
constexpr std::uint64_t kLongestPeriodMs =
    (ssdp::kAnnounceBaseSeconds + ssdp::kAnnounceSpreadSeconds - 1) * ssdp::kMsPerSecond;
// A request contains the LOCATION of the announcement that caused it, and repeats the
// address from it. It is at most this number of bytes longer than the announcement.
constexpr std::size_t kMoreThanCause = 32;
// The memory in bytes that an empty core may keep: in any case, and besides for each entry of its
// longest list.
constexpr std::size_t kKept = 4096;
constexpr std::size_t kKeptPerEntry = 64;
// The memory in bytes that a core may allocate: for each step and each datagram that it sends, for
// each byte that it receives, and for each byte that it sends or reads from a document. A step can
// add an entry or write a document. The elements of a description may overlap: each text may be
// the whole description. The environment keeps two copies of what is sent.
constexpr std::size_t kPerStep = 2048;
constexpr std::size_t kPerReceivedByte = 24;
constexpr std::size_t kPerSentByte = 8;

bool IsOwn(const sockaddr_in &sender)
{
    return sender.sin_addr.s_addr == kSenders[2].sin_addr.s_addr;
}

const Service &Selected(std::string_view argument)
{
    const auto byte = argument.empty() ? 0U : static_cast<unsigned char>(argument.front());
    return kServices[byte % kServices.size()];
}

std::string UsnOf(const Service &service)
{
    return formats::MakeUSN(service.product, service.address, "0");
}

std::size_t Count(const Datagrams &sent, std::string_view beginning)
{
    return static_cast<std::size_t>(
        std::count_if(sent.begin(), sent.end(), [beginning](const auto &each) {
            return each.text.compare(0, beginning.size(), beginning) == 0;
        }));
}

class Conversation
{
public:
    explicit Conversation(std::uint32_t random) : mCore(random), mTwin(random) { Compare(); }

    void Step(std::string_view step);
    void End();

private:
    void Receive(std::string_view datagram, std::size_t sender);
    Datagrams Pass(std::uint32_t elapsedMs);
    void Open();
    void Close(bool announce);
    Datagrams Compare();
    void Account(const Datagrams &sent);
    void CheckAnnouncements(const Datagrams &sent, std::uint32_t elapsedMs);
    void CheckEntries();
    void NoteGoodbye(std::string_view datagram, const sockaddr_in &sender);
    void ApplyAdditions();

    // Makes the same call to both cores.
    template <typename Call>
    void Both(Call call)
    {
        const MemoryCount memory;
        call(mCore);
        mAllocated += memory.Allocated();
        call(mTwin);
    }

    Core mCore;
    Core mTwin;
    std::uint32_t mNowMs = std::numeric_limits<std::uint32_t>::max() - 20000; // wraps soon
    std::uint64_t mPassedMs = 0;
    // By USN: how long ago an own service was announced.
    std::map<std::string, std::uint64_t> mAnnouncedMs;
    // By USN: the services whose addition waits for the next pass, and the announced ones that a
    // goodbye has removed from the list.
    std::set<std::string> mAdded;
    std::set<std::string> mDismissed;
    std::size_t mEntries = 0;
    const MemoryCount mMemory;
    // So far:
    std::size_t mReceivedBytes = 0;
    std::size_t mGets = 0;
    std::size_t mCauses = 0; // of requests
    std::size_t mCauseBytes = 0;
    std::size_t mDocuments = 0;
    std::size_t mRequests = 0;
    std::size_t mRequestBytes = 0;
    std::size_t mOffLinkBytes = 0;
    std::size_t mSteps = 0;
    std::size_t mSent = 0;
    std::size_t mSentBytes = 0;
    std::size_t mReadBytes = 0;
    std::size_t mAllocated = 0; // by one core
};

void Conversation::Step(std::string_view step)
{
    const char letter = step.empty() ? ' ' : step.front();
    const std::string_view argument = step.substr(std::min<std::size_t>(1, step.size()));
    const auto byte = argument.empty() ? 0U : static_cast<unsigned char>(argument.front());
    if (letter == 'd' && byte >= '0' && byte < '0' + kSenders.size()) {
        Receive(argument.substr(1, formats::kReceiveSize), byte - '0');
    } else if (letter == 'p') {
        Pass(byte * 100);
    } else if (letter == 'a') {
        const Service &service = Selected(argument);
        Both([&](Core &core) { core.Add(service); });
        mAdded.insert(UsnOf(service));
    } else if (letter == 'r') {
        const Service &service = Selected(argument);
        Both([&](Core &core) { core.agent.RemoveService(service.product, service.address, 0); });
        mAdded.erase(UsnOf(service));
    } else if (letter == 'x') {
        const Service &service = Selected(argument);
        const std::string prefix = std::string(service.product) + "-" + service.address;
        Both([&](Core &core) { core.agent.RemoveService(prefix); });
        mAdded.erase(UsnOf(service)); // there is one of each product and address
    } else if (letter == 'g' || letter == 'l') {
        Close(letter == 'g');
    } else if (letter == 'o') {
        Open();
    } else if (letter == 'b') {
        Both([](Core &core) { core.environment.room = !core.environment.room; });
    }
    ++mSteps;
    CheckEntries();
}

// Checks that only a search is answered at once, with at most one datagram for each service.
void Conversation::Receive(std::string_view datagram, std::size_t sender)
{
    mReceivedBytes += datagram.size();
    const Method method = formats::ClassifyMethod(datagram);
    mGets += method == Method::Get ? 1 : 0;
    const bool cause = !IsOwn(kSenders[sender]) && MayCauseRequest(datagram);
    mCauses += cause ? 1 : 0;
    mCauseBytes += cause ? datagram.size() : 0;
    const std::size_t hosted = mCore.agent.HostList().size();
    Both([&](Core &core) {
        const std::size_t bytes = core.Receive(datagram, kSenders[sender], mNowMs);
        mReadBytes += &core == &mCore ? bytes : 0;
    });
    NoteGoodbye(datagram, kSenders[sender]);
    const Datagrams sent = Compare();
    FUZZ_CHECK(sent.empty() || (method == Method::MSearch && sent.size() <= hosted));
    Account(sent);
}

Datagrams Conversation::Pass(std::uint32_t elapsedMs)
{
    mNowMs += elapsedMs;
    mPassedMs += elapsedMs;
    Both([=](Core &core) { core.Tick(elapsedMs); });
    ApplyAdditions();
    const Datagrams sent = Compare();
    FUZZ_CHECK(Count(sent, "GET ") <= ssdp::kMaxDelayedRequests); // at most what waited
    FUZZ_CHECK(Count(sent, "HTTP") <= ssdp::kMaxDelayedResponses);
    Account(sent);
    CheckAnnouncements(sent, elapsedMs);
    return sent;
}

void Conversation::Open()
{
    if (!mCore.agent.IsOpen()) {
        Both([](Core &core) { core.Open(); });
        ApplyAdditions();
        const Datagrams sent = Compare();
        Account(sent);
        CheckAnnouncements(sent, 0);
    }
}

// Checks that the cores send a goodbye for each service, or none, and then know and send
// nothing.
void Conversation::Close(bool announce)
{
    const std::size_t hosted = announce ? mCore.agent.HostList().size() : 0;
    Both([=](Core &core) { core.agent.Leave(announce); });
    const Datagrams sent = Compare();
    FUZZ_CHECK(sent.size() == hosted && Count(sent, "NOTIFY") == hosted);
    FUZZ_CHECK(mCore.agent.NodeList().empty() && mCore.agent.HostList().empty());
    mAnnouncedMs.clear();
    mAdded.clear();
    Both([](Core &core) { core.Tick(0); });
    FUZZ_CHECK(Compare().empty());
}

// Checks that both cores sent the same since the last call, and returns it.
Datagrams Conversation::Compare()
{
    const Datagrams sent = mCore.environment.TakeSent();
    FUZZ_CHECK(sent == mTwin.environment.TakeSent());
    FUZZ_CHECK(mCore.environment.TakeFaults() == mTwin.environment.TakeFaults());
    return sent;
}

// Checks that there are at most as many documents as GETs, and at most as many requests as
// datagrams that may cause one; that all requests together are longer than these datagrams by at
// most kMoreThanCause bytes for each; and that answers to another subnet stay within their
// budget.
void Conversation::Account(const Datagrams &sent)
{
    const std::string offLink = "203.0.113.7:1900";
    for (const auto &each : sent) {
        const bool request = each.text.compare(0, 4, "GET ") == 0;
        ++mSent;
        mSentBytes += each.text.size();
        mRequests += request ? 1 : 0;
        mRequestBytes += request ? each.text.size() : 0;
        mOffLinkBytes += !request && each.to == offLink ? each.text.size() : 0;
        mDocuments += !request && each.text.find("CONTENT-LANGUAGE") != std::string::npos ? 1 : 0;
    }
    FUZZ_CHECK(mDocuments <= mGets && mRequests <= mCauses);
    FUZZ_CHECK(mRequestBytes <= mCauseBytes + kMoreThanCause * mCauses);
    FUZZ_CHECK(mOffLinkBytes <=
               ssdp::kOffLinkBurstBytes + ssdp::kOffLinkBytesPerSecond * mPassedMs / 1000);
    FUZZ_CHECK(mAllocated <= kPerStep * (1 + mSteps + mSent) + kPerReceivedByte * mReceivedBytes +
                                 kPerSentByte * (mSentBytes + mReadBytes));
}

// Checks that each own service that cannot be proxied is announced in time, whatever was
// received.
void Conversation::CheckAnnouncements(const Datagrams &sent, std::uint32_t elapsedMs)
{
    std::map<std::string, std::uint64_t> announced;
    for (const auto &[usn, service] : mCore.agent.HostList()) {
        if (service.ipAddress != kOwnAddress || formats::CanBeProxied(usn)) {
            continue;
        }
        const bool now =
            std::find(sent.begin(), sent.end(),
                      test::FakeEnvironment::Sent{"multicast", formats::ComposeAlive(service)}) !=
            sent.end();
        const auto before = mAnnouncedMs.find(usn);
        FUZZ_CHECK(now || before != mAnnouncedMs.end()); // published with an announcement
        announced[usn] = now ? 0 : before->second + elapsedMs;
        FUZZ_CHECK(announced[usn] < kLongestPeriodMs);
    }
    mAnnouncedMs = std::move(announced);
}

// A goodbye of another device removes an own service from the list, until it is added again.
void Conversation::NoteGoodbye(std::string_view datagram, const sockaddr_in &sender)
{
    const formats::SSDPHeaders headers = formats::ScanHeaders(datagram);
    if (formats::ClassifyMethod(datagram) == Method::Notify &&
        headers.kind == formats::NTSKind::Byebye && !headers.notify.nt.empty() &&
        !headers.notify.location.empty() && !IsOwn(sender)) {
        mDismissed.emplace(headers.notify.usn);
    }
}

// The additions that waited were applied, unless the cores are closed.
void Conversation::ApplyAdditions()
{
    if (mCore.agent.IsOpen()) {
        for (const std::string &usn : mAdded) {
            mDismissed.erase(usn);
        }
        mAdded.clear();
    }
}

// Checks that the list of known services has each own service that is announced, and is within
// the bounds.
void Conversation::CheckEntries()
{
    const formats::SSDPDeviceMap &nodes = mCore.agent.NodeList();
    for (const auto &[usn, service] : mCore.agent.HostList()) {
        FUZZ_CHECK(service.ipAddress != kOwnAddress || nodes.count(usn) == 1 ||
                   mDismissed.count(usn) == 1);
    }
    std::size_t bytes = 0;
    for (const auto &[usn, device] : nodes) {
        bytes += formats::SizeOfBrowseObject(device);
    }
    FUZZ_CHECK(bytes <= ssdp::kMaxKnownBytes);
    FUZZ_CHECK(nodes.size() <= ssdp::kMaxDiscoveredNodes + mCore.agent.HostList().size());
    mEntries = std::max(mEntries, nodes.size());
}

// Checks that almost nothing is left at the end.
void Conversation::End()
{
    Both([](Core &core) { core.environment.room = true; });
    for (std::uint32_t tick = 0; tick < ssdp::kExchangeSpreadTicks; ++tick) {
        Pass(mCore.agent.PollIntervalMs());
    }
    const Datagrams last = Pass(0);
    FUZZ_CHECK(Count(last, "NOTIFY") == last.size()); // the queues are empty
    Close(true);
    FUZZ_CHECK(mCore.environment.files.GetFileNumber() == 1); // all are free
    Both([](Core &core) { core.ForgetRecords(); });
    mDismissed.clear();
    FUZZ_CHECK(mMemory.Kept() <= 2 * (kKept + kKeptPerEntry * mEntries));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    Conversation conversation(static_cast<std::uint32_t>(size) * 7919U);
    for (std::size_t start = 0; start < input.size();) {
        const std::string_view step = input.substr(start, input.find('\0', start) - start);
        conversation.Step(step);
        start += step.size() + 1;
    }
    conversation.End();
    return 0;
}
