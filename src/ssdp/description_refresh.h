#pragma once

#include "formats/ssdp_headers.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ssdp {

// DescriptionRefresh decides which known peer is asked for its description again. Each
// ssdp:alive renews the entry of its device. A device whose goodbye was lost when it was
// renamed would therefore keep its former name for ever.
//
// A peer is due when its description is older than kDescriptionMaxAgeSeconds. All peers
// together are asked at most once in kRefreshPauseMs. Of the due peers that announce
// themselves in a pause, the one with the oldest description is asked at the end of the
// pause: in a large network each peer has its turn.
//
// Times in seconds are of this class's own clock, whose zero is arbitrary. Not thread-safe;
// it belongs to the registry.
class DescriptionRefresh
{
public:
    // A peer to ask, with the texts of its last announcement.
    struct Peer
    {
        std::string usn;
        std::string location;
        in_addr sender{};
        std::uint32_t describedSeconds{};
    };

    // Takes a reading of a millisecond clock that may wrap.
    void SetTime(std::uint32_t nowMs);
    [[nodiscard]] std::uint32_t NowSeconds() const;

    // Whether a peer that announces itself is due, and has an older description than the peer
    // that is to be asked next. describedSeconds is the time when its description came or was
    // requested last.
    [[nodiscard]] bool IsNext(std::uint32_t describedSeconds) const;
    // Remembers a peer to be asked next.
    void SetNext(const formats::NTSHeader &header, std::uint32_t describedSeconds);

    // Returns the next peer when the pause is over, and begins a pause.
    [[nodiscard]] std::optional<Peer> TakeNext();

    // Forgets the next peer.
    void Clear() { mNext.reset(); }

private:
    std::uint64_t mClockMs = 0;
    std::uint32_t mNowMs = 0;
    std::uint64_t mAskedMs = 0; // when a peer was asked last
    std::optional<Peer> mNext;
};

} // namespace ssdp
