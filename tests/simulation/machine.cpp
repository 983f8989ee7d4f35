#include "simulation/machine.h"

#include "formats/ssdp_device_type.h"
#include "formats/ssdp_protocol.h"
#include "ssdp/ssdp_tunables.h"
#include "ssdp/timing.h"

#include <arpa/inet.h>
#include <utility>

namespace simulation {
namespace {

constexpr const char *kWebRoot = "/var/www/html";

} // namespace

bool MemoryFiles::Write(const std::string &path, std::string_view document)
{
    mDocuments[path] = document;
    return true;
}

std::optional<ssdp::ServedDocument> MemoryFiles::Read(std::string_view name)
{
    const auto found = mDocuments.find(kWebRoot + std::string(name));
    if (found == mDocuments.end()) {
        return std::nullopt;
    }
    return ssdp::ServedDocument{found->second, found->second.size()};
}

Machine::Machine(MachineSettings settings, Surroundings &surroundings, in_addr_t address,
                 std::string hostName)
    : mSettings(std::move(settings)),
      mSurroundings(surroundings),
      mAddress(address),
      mHostName(std::move(hostName))
{
}

std::string Machine::Usn() const
{
    return formats::MakeUSN(mSettings.product, TextOf(mAddress), "0");
}

std::uint32_t Machine::ClockMs(Micros now) const
{
    return mSettings.clockMs + static_cast<std::uint32_t>(now / kMillisecond);
}

void Machine::PowerOn(Micros now, Publication publication)
{
    mFiles.ForgetNumbers();
    mAgent = std::make_unique<ssdp::SSDPAgent>(static_cast<ssdp::SSDPEnvironment &>(*this));
    mEnabled = true;
    mAgent->AddInterface(TextOf(mAddress), "net0", mSettings.netmask);
    if (publication == Publication::AtOnce) {
        Publish();
        Start(now);
    } else {
        Start(now);
        Publish();
    }
}

void Machine::Kill()
{
    mAgent.reset();
    ClearBuffer();
    mDescribed.clear();
    mStalled = false;
    ++mRun;
    mTouched = true;
}

void Machine::Rename(const std::string &hostName, Micros now)
{
    mHostName = hostName;
    if (mEnabled) {
        Reopen(now);
    }
}

void Machine::Move(in_addr_t address, Micros now)
{
    mAgent->RemoveService(mSettings.product, TextOf(mAddress), 0);
    Close(true, now);
    mAddress = address;
    Open(now);
    if (mEnabled) {
        Publish();
    }
}

void Machine::Reopen(Micros now)
{
    mAgent->RemoveService(mSettings.product, TextOf(mAddress), 0);
    Close(true, now);
    Open(now);
    Publish();
}

void Machine::SwitchOn()
{
    mEnabled = true;
    Publish();
}

void Machine::SwitchOff()
{
    mEnabled = false;
    mAgent->RemoveService(mSettings.product, TextOf(mAddress), 0);
}

void Machine::LoseLink(Micros now)
{
    if (mEnabled && IsOpen()) {
        Close(false, now);
    }
}

void Machine::RegainLink(Micros now)
{
    if (mEnabled && !IsOpen()) {
        Open(now);
    }
}

void Machine::CompleteSetup(Micros now)
{
    Close(true, now);
    Open(now);
    if (mEnabled) {
        Publish();
    }
}

void Machine::Publish()
{
    SSDPDeviceType service;
    service.notificationType = formats::kRootDevice;
    service.hostName = mHostName;
    service.serialNumber = "1HE000000";
    service.ipAddress = TextOf(mAddress);
    service.boardID = mSettings.board;
    service.modelNumber = service.boardID;
    service.instance = "0";
    service.productName = mSettings.product;
    service.modelName = mSettings.product;
    service.modelDescription = mSettings.category;
    service.urlScheme = "http://";
    mAgent->SetPath(kWebRoot);
    mAgent->AddService(service);
}

// Like VEX_SSDP::Open.
void Machine::Open(Micros now)
{
    mAgent->AddInterface(TextOf(mAddress), "net0", mSettings.netmask);
    Start(now);
}

// Like the start of VEX_SSDP's thread.
void Machine::Start(Micros now)
{
    ++mRun;
    mBusyUntil = now;
    mSendingAt = now;
    mPolledAt = now;
    mTickAt = now;
    mClock.Start(ClockMs(now));
    mDiagnosticBudget.emplace(ssdp::kDiagnosticBurstBytes, ssdp::kDiagnosticBytesPerSecond);
    mTouched = true;
    mRandom.Seed(mSettings.time + static_cast<std::uint32_t>(now / kSecond));
    if (mSettings.variation.shiftedDraws) {
        for (std::uint32_t left = ntohl(mAddress) & 0xFFFFU; left > 0; --left) {
            static_cast<void>(mRandom.Draw());
        }
    }
    mAgent->Start();
    mSurroundings.WakeAt(*this, TimeOut(), mRun);
}

void Machine::Close(bool goodbye, Micros now)
{
    mSendingAt = now;
    mAgent->Leave(goodbye);
    ClearBuffer();
    mDescribed.clear();
    ++mRun;
    mTouched = true;
}

void Machine::Multicast(std::string_view datagram)
{
    const sockaddr_in group = SocketAddress(inet_addr(formats::kMulticastAddress), formats::kPort);
    static_cast<void>(mSurroundings.Send(*this, true, group, datagram, mSendingAt, 0));
    mSendingAt += mSettings.handlingTime;
    mTouched = true; // an announcement may replace the entry of the own service
}

bool Machine::SendTo(const sockaddr_in &peer, std::string_view datagram, ssdp::Urgency urgency)
{
    const int spared =
        urgency == ssdp::Urgency::Answer ? ssdp::kSparedByAnswers : ssdp::kSparedByRequests;
    if (!mSurroundings.Send(*this, false, peer, datagram, mSendingAt, spared)) {
        return false;
    }
    mSendingAt += mSettings.handlingTime;
    return true;
}

} // namespace simulation
