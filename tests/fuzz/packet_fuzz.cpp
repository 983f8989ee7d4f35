// The SSDP port: the protocol core in virtual time receives any datagrams. None of them changes
// the device's announcements, except an ssdp:alive of the ZR1 from another device. Answers stay
// within their budget and cause no further answers, and the containers stay within their bounds.
// Memory is in proportion to what the device receives and sends.
//
// An input consists of datagrams, separated by NULs. Control bytes before a datagram are
// commands:
//   1 to 4  the sender of the following datagrams: this element of kSenders
//   5       a tick passes
//   6       a tick of two minutes passes
//   7       the send buffer becomes full, or has room again
//   14      the datagram arrives kFlood times, each time with its number instead of '#'

#include "causes.h"
#include "check.h"
#include "formats/browse_document.h"
#include "formats/description_document.h"
#include "formats/ssdp_headers.h"
#include "formats/ssdp_messages.h"
#include "memory.h"
#include "ssdp/ssdp_agent.h"
#include "ssdp/ssdp_tunables.h"
#include "support/fake_environment.h"
#include "support/records.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

using formats::Method;
using Sent = test::FakeEnvironment::Sent;

constexpr const char *kOwnAddress = "192.0.2.10";
constexpr const char *kNetmask = "255.255.255.128";
const std::string kOwnUsn = formats::MakeUSN("Corvia 12", kOwnAddress, "0");
// The device's other service: an ssdp:alive of it from another sender ends its announcements.
const std::string kProxiedUsn = formats::MakeUSN("ZR1", kOwnAddress, "0");
const std::array<sockaddr_in, 4> kSenders{
    test::SocketAddressOf("192.0.2.11", formats::kPort),
    test::SocketAddressOf(kOwnAddress, formats::kPort),
    test::SocketAddressOf("192.0.2.200", formats::kPort), // in another subnet
    test::SocketAddressOf("192.0.2.201", 49821),          // in another subnet
};
constexpr std::uint32_t kLongTickMs = 120000;
constexpr int kFlood = 96;
// A request contains the LOCATION of the announcement that caused it, and repeats the address in
// it. It may be longer than the announcement by this number of bytes.
constexpr std::size_t kMoreThanCause = 32;
// The memory in bytes that the device may allocate: for each datagram that it receives or sends,
// for each byte that it receives, and for each byte that it sends or reads from a document. A
// description becomes an entry with its index, and its elements may overlap: each text may be the
// whole description. The environment keeps two copies of what is sent.
constexpr std::size_t kPerDatagram = 1536;
constexpr std::size_t kPerReceivedByte = 24;
constexpr std::size_t kPerSentByte = 8;

std::string TextOf(const sockaddr_in &address)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

bool IsOwn(const sockaddr_in &sender)
{
    return sender.sin_addr.s_addr == kSenders[1].sin_addr.s_addr;
}

// Whether a text is the address of a single host with the SSDP port: not a multicast,
// loopback or broadcast address.
bool IsPeerOnPort1900(const std::string &text)
{
    const int block = std::stoi(text);
    return block != 0 && block != 127 && block < 224 && text != "192.0.2.127:1900" &&
           text.substr(text.find(':')) == ":1900";
}

// Whether the datagram ends our announcement of a service: only an ssdp:alive of the proxied
// product from another sender does.
bool HandsBack(std::string_view datagram, const sockaddr_in &sender)
{
    const formats::SSDPHeaders headers = formats::ScanHeaders(datagram);
    return formats::ClassifyMethod(datagram) == Method::Notify && !IsOwn(sender) &&
           headers.kind == formats::NTSKind::Alive && headers.notify.usn == kProxiedUsn &&
           !headers.notify.nt.empty() && !headers.notify.location.empty();
}

// Texts that are read from a datagram are parts of it, and numbers stay within their bounds.
void CheckReading(std::string_view datagram)
{
    const MemoryCount memory;
    const formats::SSDPHeaders headers = formats::ScanHeaders(datagram);
    FUZZ_CHECK(IsWithin(headers.notify.nt, datagram));
    FUZZ_CHECK(IsWithin(headers.notify.usn, datagram));
    FUZZ_CHECK(IsWithin(headers.notify.location, datagram));
    FUZZ_CHECK(IsWithin(headers.searchTarget, datagram));
    FUZZ_CHECK(headers.maxAge <= formats::kLargestMaxAge);
    FUZZ_CHECK(IsWithin(formats::RequestedName(datagram), datagram));
    std::string_view usn;
    static_cast<void>(formats::ReadSearchResponseUSN(datagram, usn));
    FUZZ_CHECK(IsWithin(usn, datagram));
    FUZZ_CHECK(memory.Allocated() == 0);
}

// A device that announces two services.
struct Device
{
    explicit Device(std::uint32_t random)
    {
        environment.random = random;
        environment.files.documents["/var/www/html/large.xml"] = std::string(20000, 'x');
        Open();
        agent.SetPath("/var/www/html");
        for (const char *product : {"Corvia 12", "ZR1"}) {
            SSDPDeviceType service = ::Device(product, kOwnAddress, "studio-a");
            service.modelNumber = service.boardID = "0x10650001";
            service.maxAge = "1800";
            agent.AddService(service);
        }
        agent.Start();
    }

    void Open() { agent.AddInterface(kOwnAddress, "net0", test::AddressOf(kNetmask)); }

    void Tick(std::uint32_t elapsedMs)
    {
        agent.BeginTick(elapsedMs);
        while (agent.SendDue()) {
        }
        agent.UpdateContainers(elapsedMs);
    }

    [[nodiscard]] bool Hosts(const std::string &usn) const
    {
        return agent.HostList().count(usn) == 1;
    }

    test::FakeEnvironment environment;
    ssdp::SSDPAgent agent{environment};
};

// A device that receives all datagrams of the input, and its twin that receives only those that
// may change the announcements: the announcements of both must be equal.
class DeviceAndTwin
{
public:
    explicit DeviceAndTwin(std::uint32_t random) : mDevice(random), mTwin(random)
    {
        CheckAnnouncements();
    }

    void HandlePart(std::string_view part);
    void End();

private:
    void Deliver(std::string_view datagram, bool flood);
    void Receive(std::string_view datagram, const sockaddr_in &sender);
    void Pass(std::uint32_t elapsedMs);
    void Account(const Sent &sent);
    void CheckAnnouncements();
    void CheckRegistry() const;
    void CheckSent() const;

    Device mDevice;
    Device mTwin;
    sockaddr_in mSender = kSenders[0];
    std::uint32_t mNowMs = std::numeric_limits<std::uint32_t>::max() - 5000; // wraps soon
    std::uint64_t mPassedMs = 0;
    // So far:
    std::size_t mDatagrams = 0;
    std::size_t mReceivedBytes = 0;
    std::size_t mCauses = 0; // of requests
    std::size_t mCauseBytes = 0;
    std::size_t mQuestions = 0;
    std::size_t mAnswers = 0;
    std::size_t mOffLinkBytes = 0; // of answers
    std::size_t mRequests = 0;
    std::size_t mRequestBytes = 0;
    std::size_t mSent = 0;
    std::size_t mSentBytes = 0;
    std::size_t mReadBytes = 0; // of documents
    std::size_t mAllocated = 0; // by the device
};

void DeviceAndTwin::HandlePart(std::string_view part)
{
    bool flood = false;
    for (; !part.empty(); part.remove_prefix(1)) {
        const auto command = static_cast<unsigned char>(part.front());
        if (command >= 1 && command <= kSenders.size()) {
            mSender = kSenders[command - 1U];
        } else if (command == 5) {
            Pass(mDevice.agent.PollIntervalMs());
        } else if (command == 6) {
            Pass(kLongTickMs);
        } else if (command == 7) {
            mDevice.environment.room = !mDevice.environment.room;
        } else if (command == 14) {
            flood = true;
        } else {
            break;
        }
    }
    Deliver(part.substr(0, formats::kReceiveSize), flood);
    CheckRegistry();
}

void DeviceAndTwin::Deliver(std::string_view datagram, bool flood)
{
    if (datagram.empty()) {
        return;
    }
    for (int number = 0; number < (flood ? kFlood : 1); ++number) {
        std::string numbered(datagram);
        for (std::size_t at = 0; flood && (at = numbered.find('#')) != std::string::npos;) {
            numbered.replace(at, 1, std::to_string(number));
        }
        Receive(numbered.substr(0, formats::kReceiveSize), mSender);
    }
}

// Only a search is answered at once, and only to its sender.
void DeviceAndTwin::Receive(std::string_view datagram, const sockaddr_in &sender)
{
    CheckReading(datagram);
    ++mDatagrams;
    ++mNowMs;
    ++mPassedMs;
    mReceivedBytes += datagram.size();
    const bool cause = !IsOwn(sender) && MayCauseRequest(datagram);
    mCauses += cause ? 1U : 0U;
    mCauseBytes += cause ? datagram.size() : 0U;
    const Method method = formats::ClassifyMethod(datagram);
    mQuestions += method == Method::MSearch || method == Method::Get ? 1U : 0U;
    const bool handsBack = HandsBack(datagram, sender);
    const bool hosted = mDevice.Hosts(kProxiedUsn) && !handsBack;
    if (handsBack) {
        static_cast<void>(mTwin.agent.ParseSSDPPacket(datagram, sender, mNowMs));
    }
    const MemoryCount memory;
    if (const auto wanted = mDevice.agent.ParseSSDPPacket(datagram, sender, mNowMs)) {
        FUZZ_CHECK(method == Method::Get && TextOf(wanted->sender) == TextOf(sender));
        if (const auto document = mDevice.environment.files.Read(wanted->name)) {
            mReadBytes += document->bytes;
            mDevice.agent.SendGETResponse(*wanted, *document, mNowMs);
        }
    }
    mAllocated += memory.Allocated();
    for (const Sent &sent : mDevice.environment.TakeSent()) {
        FUZZ_CHECK(method == Method::MSearch && sent.to == TextOf(sender));
        Account(sent);
    }
    FUZZ_CHECK(mDevice.Hosts(kOwnUsn) && mDevice.Hosts(kProxiedUsn) == hosted);
}

void DeviceAndTwin::Pass(std::uint32_t elapsedMs)
{
    mNowMs += elapsedMs;
    mPassedMs += elapsedMs;
    const MemoryCount memory;
    mDevice.Tick(elapsedMs);
    mAllocated += memory.Allocated();
    mTwin.Tick(elapsedMs);
    const std::size_t requests = mRequests;
    const std::size_t answers = mAnswers;
    CheckAnnouncements();
    // At most what waited.
    FUZZ_CHECK(mRequests - requests <= ssdp::kMaxDelayedRequests);
    FUZZ_CHECK(mAnswers - answers <= ssdp::kMaxDelayedResponses);
}

// The device and its twin send the same multicast. An announcement also corrects the entry of
// the service in NodeList, if there is one.
void DeviceAndTwin::CheckAnnouncements()
{
    std::vector<Sent> announced;
    for (Sent &sent : mDevice.environment.TakeSent()) {
        if (sent.to == "multicast") {
            ++mSent;
            mSentBytes += sent.text.size();
            announced.push_back(std::move(sent));
        } else {
            Account(sent);
        }
    }
    FUZZ_CHECK(announced == mTwin.environment.TakeSent());
    for (const Sent &sent : announced) {
        const std::string usn(formats::ScanHeaders(sent.text).notify.usn);
        const auto node = mDevice.agent.NodeList().find(usn);
        if (node != mDevice.agent.NodeList().end() && mDevice.Hosts(usn)) {
            FUZZ_CHECK(formats::AreListedAlike(mDevice.agent.HostList().at(usn), node->second));
        }
    }
}

// Counts a datagram to one peer. An answer is delivered to the device again, with this peer as
// the sender, because it must not cause another answer.
void DeviceAndTwin::Account(const Sent &sent)
{
    ++mSent;
    mSentBytes += sent.text.size();
    if (sent.text.compare(0, 4, "GET ") == 0) {
        FUZZ_CHECK(IsPeerOnPort1900(sent.to));
        ++mRequests;
        mRequestBytes += sent.text.size();
        return;
    }
    const auto peer = std::find_if(kSenders.begin(), kSenders.end(),
                                   [&](const auto &each) { return TextOf(each) == sent.to; });
    FUZZ_CHECK(peer != kSenders.end() && sent.text.compare(0, 15, "HTTP/1.1 200 OK") == 0);
    ++mAnswers;
    mOffLinkBytes += peer - kSenders.begin() >= 2 ? sent.text.size() : 0;
    Receive(std::string_view(sent.text).substr(0, formats::kReceiveSize), *peer);
}

// The entries of the registry are consistent, and within the bounds.
void DeviceAndTwin::CheckRegistry() const
{
    std::size_t written = 0;
    for (const auto &[usn, device] : mDevice.agent.NodeList()) {
        FUZZ_CHECK(usn == device.usn);
        FUZZ_CHECK(device.boardID == device.modelNumber);
        FUZZ_CHECK(device.modelNumber.compare(0, 2, "0x") == 0);
        FUZZ_CHECK(device.timerPeriod <= formats::kLargestMaxAge * 1000U);
        FUZZ_CHECK(device.timerCountdown <= ssdp::RefreshedCountdownMs(device.timerPeriod));
        written += formats::SizeOfBrowseObject(device);
    }
    FUZZ_CHECK(written <= ssdp::kMaxKnownBytes);
    FUZZ_CHECK(mDevice.agent.NodeList().size() <= ssdp::kMaxDiscoveredNodes + 2);
}

void DeviceAndTwin::CheckSent() const
{
    FUZZ_CHECK(mAllocated <= kPerDatagram * (mDatagrams + mSent) +
                                 kPerReceivedByte * mReceivedBytes +
                                 kPerSentByte * (mSentBytes + mReadBytes));
    FUZZ_CHECK(mAnswers <= 2 * mQuestions); // two services
    FUZZ_CHECK(mOffLinkBytes <=
               ssdp::kOffLinkBurstBytes + ssdp::kOffLinkBytesPerSecond * mPassedMs / 1000);
    FUZZ_CHECK(mRequests <= mCauses);
    FUZZ_CHECK(mRequestBytes <= mCauseBytes + kMoreThanCause * mCauses);
}

// Sends the waiting datagrams, checks the sums, and leaves. Nothing may be sent after that,
// even if a document was requested before and the device is opened again.
void DeviceAndTwin::End()
{
    mDevice.environment.room = true;
    for (std::uint32_t tick = 0; tick < ssdp::kExchangeSpreadTicks; ++tick) {
        Pass(mDevice.agent.PollIntervalMs());
    }
    CheckSent();
    Receive("GET /large.xml", kSenders[0]);
    mDevice.agent.Leave(true);
    mTwin.agent.Leave(true);
    CheckAnnouncements();
    FUZZ_CHECK(mDevice.agent.NodeList().empty() && mDevice.agent.HostList().empty());
    for (const char *question : {"M-SEARCH\nST:ssdp:all", "GET /large.xml", "NOTIFY"}) {
        FUZZ_CHECK(!mDevice.agent.ParseSSDPPacket(question, kSenders[0], mNowMs));
    }
    mDevice.Open();
    mDevice.Tick(kLongTickMs);
    FUZZ_CHECK(mDevice.environment.sent.empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    // A different sequence of random times for each length of the input.
    const auto random = static_cast<std::uint32_t>(size) * 7919U;
    DeviceAndTwin devices(random);
    for (std::size_t start = 0; start < input.size();) {
        const std::string_view part = input.substr(start, input.find('\0', start) - start);
        devices.HandlePart(part);
        start += part.size() + 1;
    }
    devices.End();
    return 0;
}
