#include "simulation/trace.h"

#include "formats/ssdp_protocol.h"

#include <array>
#include <cinttypes>
#include <cstdio>

namespace simulation {
namespace {

constexpr std::size_t kKept = 100;

// Leaves out the traffic of other makers and the answers to it, which would fill the report.
bool IsOfInterest(const Datagram &datagram)
{
    return datagram.from != kNoMachine ? datagram.multicast
                                       : datagram.text.find(formats::kVexMark) != std::string::npos;
}

std::string LineOf(std::string_view text, std::string_view beginning)
{
    const std::size_t start = text.find(beginning);
    return start == std::string_view::npos
               ? std::string()
               : " " + std::string(
                           text.substr(start, text.find_first_of("\r\n<", start + 5) - start));
}

} // namespace

std::string TimeText(Micros time)
{
    std::array<char, 32> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.6f s", SecondsOf(time)));
    return text.data();
}

std::string MachineText(std::uint32_t machine)
{
    return machine == kNoMachine ? "a stranger" : "device " + std::to_string(machine + 1);
}

void Trace::Fold(std::uint64_t value)
{
    mHash = (mHash ^ value) * 0xFF51AFD7ED558CCDU;
    mHash ^= mHash >> 29U;
}

void Trace::Note(Micros at, const char *what, std::uint32_t machine)
{
    Fold(static_cast<std::uint64_t>(at));
    Fold(machine ^ HashOf(what));
    if (at <= mUntil && IsWatched(machine)) {
        Keep(at, what, machine, nullptr);
    }
}

void Trace::Note(Micros at, const char *what, std::uint32_t machine, const Datagram &datagram,
                 std::uint32_t peer)
{
    Fold(static_cast<std::uint64_t>(at));
    Fold(machine ^ datagram.hash ^ (static_cast<std::uint64_t>(what[0]) << 32U));
    const bool between =
        mWatched.size() < 2 || (peer != kNoMachine ? IsWatched(peer) : IsOfInterest(datagram));
    if (at <= mUntil && IsWatched(machine) && between) {
        Keep(at, what, machine, &datagram);
    }
}

void Trace::Keep(Micros at, const char *what, std::uint32_t machine, const Datagram *datagram)
{
    std::string text = TimeText(at) + "  " + MachineText(machine) + " " + what;
    if (datagram != nullptr) {
        text += std::string(" ") + NameOf(datagram->kind) + " of " + MachineText(datagram->from) +
                " to " + TextOf(datagram->destination.sin_addr.s_addr) +
                LineOf(datagram->text, "uuid:") + LineOf(datagram->text, "GET ");
    }
    mLast.push_back(std::move(text));
    if (mLast.size() > kKept) {
        mLast.pop_front();
    }
}

} // namespace simulation
