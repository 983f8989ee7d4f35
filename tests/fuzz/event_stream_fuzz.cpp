// The configuration service's answer to a watch request, and the event stream in it: the same
// bytes give the same events in any pieces, nothing grows beyond its bound, and an input costs
// memory in proportion to its length.

#include "check.h"
#include "memory.h"
#include "pieces.h"
#include "wsconfig/event_stream_reader.h"
#include "wsconfig/watch_answer_reader.h"

#include <iterator>
#include <utility>

using namespace wsconfig;

namespace {

constexpr std::size_t kBound = 64;

std::vector<ServerEvent> EventsIn(const Pieces &pieces, std::size_t size)
{
    const MemoryCount memory;
    EventStreamReader reader(kBound);
    std::vector<ServerEvent> events;
    for (const std::string_view piece : pieces) {
        std::vector<ServerEvent> more = reader.feed(piece);
        std::move(more.begin(), more.end(), std::back_inserter(events));
    }
    // The records of the events are copied into two lists that grow, less than four times each.
    FUZZ_CHECK(memory.Allocated() <=
               8 * sizeof(ServerEvent) * events.size() + 8 * size + 2 * kBound);
    return events;
}

// The reader keeps a line, a type and data within the bound. The room of a text that grows is
// doubled, and kept for the next event.
void CheckKept(const Pieces &pieces)
{
    const MemoryCount memory;
    EventStreamReader reader(kBound);
    for (const std::string_view piece : pieces) {
        static_cast<void>(reader.feed(piece));
        FUZZ_CHECK(memory.Kept() <= 6 * kBound);
    }
}

// The result of reading an answer that arrives in these pieces.
WatchNews ReadIn(const Pieces &pieces, std::size_t size)
{
    const MemoryCount memory;
    WatchAnswerReader reader({24, 19});
    WatchNews all;
    for (const std::string_view piece : pieces) {
        WatchNews news = reader.feed(piece);
        FUZZ_CHECK(all.fault.empty() || (news.fault == all.fault && news.values.empty()));
        std::move(news.values.begin(), news.values.end(), std::back_inserter(all.values));
        std::move(news.dropped.begin(), news.dropped.end(), std::back_inserter(all.dropped));
        all.fault = news.fault;
        all.ended = news.ended;
    }
    // The content type is read again with each piece.
    FUZZ_CHECK(memory.Allocated() <= 1024 + 96 * size + pieces.size() * (256 + 4 * size));
    return all;
}

void CheckAlike(const WatchNews &one, const WatchNews &other)
{
    FUZZ_CHECK(one.values.size() == other.values.size());
    for (std::size_t i = 0; i < one.values.size(); ++i) {
        FUZZ_CHECK(one.values[i].param == other.values[i].param);
        FUZZ_CHECK(one.values[i].json == other.values[i].json);
    }
    FUZZ_CHECK(one.dropped == other.dropped);
    FUZZ_CHECK(one.ended == other.ended);
    // If an unfinished header arrives in pieces, its fault may be found later.
    FUZZ_CHECK(one.fault.empty() || other.fault.empty() || one.fault == other.fault);
}

void CheckCost(const WatchNews &news, std::size_t size)
{
    std::size_t bytes = news.fault.size();
    for (const WatchedValue &value : news.values) {
        FUZZ_CHECK(value.param == 24 || value.param == 19);
        bytes += sizeof value.param + static_cast<std::size_t>(value.json.size());
    }
    for (const std::string &reason : news.dropped) {
        bytes += reason.size();
    }
    constexpr std::size_t kLongestReason = 80; // an event has at least 6 bytes, "data\n\n"
    FUZZ_CHECK(bytes <= kLongestReason * (1 + size / 6));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const Pieces pieces = Cut(input);
    const std::vector<ServerEvent> whole = EventsIn({input}, size);
    const std::vector<ServerEvent> cut = EventsIn(pieces, size);
    FUZZ_CHECK(whole.size() == cut.size());
    for (std::size_t i = 0; i < whole.size(); ++i) {
        FUZZ_CHECK(whole[i].type == cut[i].type && whole[i].data == cut[i].data);
        FUZZ_CHECK(whole[i].tooLarge == cut[i].tooLarge);
        FUZZ_CHECK(whole[i].data.size() <= kBound && whole[i].type.size() <= kBound);
    }

    CheckKept(pieces);

    const WatchNews news = ReadIn({input}, size);
    CheckAlike(news, ReadIn(pieces, size));
    CheckCost(news, size);
    return 0;
}
