#pragma once

#include "formats/ssdp_device_type.h"
#include "simulation/datagram.h"
#include "simulation/device_random.h"
#include "simulation/virtual_time.h"
#include "ssdp/flood_limits.h"
#include "ssdp/ssdp_agent.h"
#include "ssdp/web_root_files.h"

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace simulation {

// Description documents in memory. They outlive the process, as files do.
class MemoryFiles final : public ssdp::DescriptionFiles
{
public:
    std::uint32_t GetFileNumber() override { return mNumbers->GetFileNumber(); }
    void ReturnFileNumber(std::string_view name) override { mNumbers->ReturnFileNumber(name); }
    bool Write(const std::string &path, std::string_view document) override;
    std::optional<ssdp::ServedDocument> Read(std::string_view name) override;
    // Frees all file numbers, like the end of the process.
    void ForgetNumbers() { mNumbers = std::make_unique<ssdp::DescriptionFileNumbers>(); }

private:
    std::map<std::string, std::string> mDocuments; // by path
    std::unique_ptr<ssdp::DescriptionFileNumbers> mNumbers =
        std::make_unique<ssdp::DescriptionFileNumbers>();
};

class Machine;

// The interface through which a machine reaches the simulated world.
class Surroundings
{
public:
    Surroundings() = default;
    virtual ~Surroundings() = default;
    Surroundings(const Surroundings &) = delete;
    Surroundings &operator=(const Surroundings &) = delete;

    // Sends a datagram. Returns false if the send buffer has no room for it.
    [[nodiscard]] virtual bool Send(Machine &machine, bool multicast,
                                    const sockaddr_in &destination, std::string_view text,
                                    Micros at, int sparedPercent) = 0;
    // Sends a reply from the diagnostic port.
    virtual void Reply(const Machine &machine, const sockaddr_in &destination,
                       std::string_view text, Micros at) = 0;
    // Calls Machine::Wake, or Machine::HandleBatch, at that time.
    virtual void WakeAt(const Machine &machine, Micros at, std::uint32_t run) = 0;
    virtual void HandleBatchAt(const Machine &machine, Micros at, std::uint32_t run) = 0;
    // When a processor can run a machine's thread that is ready now.
    [[nodiscard]] virtual Micros FreeProcessorAt(Micros now) const = 0;
    // A thread uses the processor that is free first, until this time.
    virtual void UseProcessor(Micros until) = 0;
};

// Changes of the daemon's behaviour, to measure their effect. Only the simulator has them.
struct Variation
{
    // Each device skips as many random numbers as its address specifies. Devices that start in
    // the same second then draw different numbers.
    bool shiftedDraws = false;
    // A receive call waits only for the rest of the tick, not for a whole tick.
    bool evenTicks = false;
};

// The constant properties of a machine.
struct MachineSettings
{
    std::uint32_t number = 0;
    std::string product;
    std::string category;
    std::string board; // "0x" and hexadecimal digits
    in_addr netmask{};
    std::uint32_t clockMs = 0;     // its millisecond clock at the start; the clock wraps
    std::uint32_t time = 0;        // the result of time() at the start
    Variation variation;           // only to measure an effect
    Micros handlingTime = 10;      // for one datagram, sent or received
    Micros wakeUpTime = 100;       // from a datagram's arrival until a waiting thread runs
    std::size_t receiveBuffer = 0; // bytes, with the kernel's overhead
    bool light = false;            // see Machine
};

// Machine is a device: a real protocol core, the shell's receive loop (see
// src/ssdp/vex_ssdp_threads.cpp) in virtual time, and the calls of the coordinator (see
// src/pubsub/vex_pubsub.cpp).
//
// A light machine keeps no list of its peers, but one bit for each: whether it has the peer's
// document. It sends what a whole machine sends, as long as no peer is forgotten, asked again, or
// gets another address.
class Machine final : private ssdp::SSDPEnvironment
{
public:
    Machine(MachineSettings settings, Surroundings &surroundings, in_addr_t address,
            std::string hostName);

    // Actions of the coordinator and of the system:

    // The coordinator publishes after it has opened the engine. The publication usually takes
    // effect at the next tick; if the engine's thread starts late, it takes effect at once.
    enum class Publication { WithNextTick, AtOnce };
    void PowerOn(Micros now, Publication publication);
    void Kill();
    void Rename(const std::string &hostName, Micros now);
    void Move(in_addr_t address, Micros now);
    void SwitchOn();
    void SwitchOff();
    void LoseLink(Micros now);
    void RegainLink(Micros now);
    void CompleteSetup(Micros now);
    void Add(SSDPDeviceType service) { mAgent->AddService(service); }
    void Stall() { mStalled = true; }
    void Resume(Micros now);

    // A datagram arrives. Returns false if the receive buffer is full.
    [[nodiscard]] bool Receive(const DatagramPointer &datagram, Micros now);
    // A datagram arrives at the diagnostic port.
    void AnswerDiagnostic(const Datagram &datagram, Micros now);
    // The receive call times out. If a datagram has arrived since the call began, only schedules
    // the next time-out.
    void Wake(Micros now, std::uint32_t run);
    // The receive call returns datagrams.
    void HandleBatch(Micros now, std::uint32_t run);

    [[nodiscard]] std::uint32_t Number() const { return mSettings.number; }
    [[nodiscard]] bool IsOn() const { return mAgent != nullptr; }
    [[nodiscard]] bool IsOpen() const { return IsOn() && mAgent->IsOpen(); }
    // Whether SSDP is switched on.
    [[nodiscard]] bool IsEnabled() const { return mEnabled; }
    [[nodiscard]] bool IsStalled() const { return mStalled; }
    [[nodiscard]] bool IsLight() const { return mSettings.light; }
    [[nodiscard]] in_addr_t Address() const { return mAddress; }
    [[nodiscard]] const std::string &HostName() const { return mHostName; }
    [[nodiscard]] const std::string &Product() const { return mSettings.product; }
    [[nodiscard]] std::string Usn() const;
    // REQUIRES: IsOn().
    [[nodiscard]] const ssdp::SSDPAgent &Agent() const { return *mAgent; }
    // The datagram that is being handled; null if there is none.
    [[nodiscard]] const Datagram *Handled() const { return mHandled; }
    // Whether the list may have changed since the last call.
    [[nodiscard]] bool TakeTouched() { return std::exchange(mTouched, false); }
    [[nodiscard]] std::uint64_t Faults() const { return mFaults; }

private:
    // ssdp::SSDPEnvironment
    void Multicast(std::string_view datagram) override;
    bool SendTo(const sockaddr_in &peer, std::string_view datagram, ssdp::Urgency urgency) override;
    std::uint32_t Random() override { return mRandom.Draw(); }
    void ReportFault(std::initializer_list<std::string_view> /*pieces*/) override { ++mFaults; }
    ssdp::DescriptionFiles &Files() override { return mFiles; }

    void Open(Micros now);
    void Start(Micros now);
    void Close(bool goodbye, Micros now);
    void Reopen(Micros now);
    void Publish();
    void ClearBuffer();
    void ScheduleBatch();
    void Handle(const Datagram &datagram, std::uint32_t nowMs);
    [[nodiscard]] bool NeedsCore(const Datagram &datagram);
    void CheckTick(Micros now);
    [[nodiscard]] Micros TimeOut() const;
    void Tick(Micros now);
    void NoteSize();
    [[nodiscard]] std::uint32_t ClockMs(Micros now) const;

    const MachineSettings mSettings;
    Surroundings &mSurroundings;
    in_addr_t mAddress;
    std::string mHostName;
    bool mEnabled = true;
    MemoryFiles mFiles;
    DeviceRandom mRandom{1};
    std::unique_ptr<ssdp::SSDPAgent> mAgent;
    std::optional<ssdp::SendBudget> mDiagnosticBudget; // of a run of the engine

    // The receive loop.
    ssdp::TickClock mClock;
    std::uint32_t mRun = 0; // the number of the engine's run
    Micros mTickAt = 0;     // the start of the tick
    Micros mPolledAt = 0;   // the start of the last receive call
    Micros mBusyUntil = 0;  // the thread handles earlier datagrams until then
    Micros mSendingAt = 0;  // the time at which the next datagram is sent
    bool mStalled = false;

    // A datagram in the socket's receive buffer.
    struct Waiting
    {
        Micros since = 0;
        DatagramPointer datagram;
    };
    std::deque<Waiting> mWaiting;
    std::size_t mWaitingBytes = 0;
    bool mBatchScheduled = false;

    std::vector<bool> mDescribed; // of a light machine, by machine: whose documents it has
    const Datagram *mHandled = nullptr;
    bool mTouched = false;
    std::size_t mSize = 0; // of the list, as noted last
    std::uint64_t mFaults = 0;
};

} // namespace simulation
