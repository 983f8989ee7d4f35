// The configuration service's event stream: the same bytes give the same events in pieces
// of any size, and nothing grows beyond its bound.

#include "check.h"
#include "wsconfig/event_stream_reader.h"
#include "wsconfig/watch_answer_reader.h"

using namespace wsconfig;

namespace {

constexpr std::size_t kBound = 64;

void Feed(EventStreamReader &reader, std::string_view bytes, std::vector<ServerEvent> &events)
{
    for (ServerEvent &event : reader.feed(bytes)) {
        events.push_back(std::move(event));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    std::vector<ServerEvent> whole;
    EventStreamReader wholeReader(kBound);
    Feed(wholeReader, input, whole);

    std::vector<ServerEvent> cut;
    EventStreamReader cutReader(kBound);
    const std::size_t step = size == 0 ? 1 : data[0] % 7 + 1;
    for (std::size_t start = 0; start < size; start += step) {
        Feed(cutReader, input.substr(start, step), cut);
    }
    FUZZ_CHECK(whole.size() == cut.size());
    for (std::size_t i = 0; i < whole.size(); ++i) {
        FUZZ_CHECK(whole[i].type == cut[i].type && whole[i].data == cut[i].data);
        FUZZ_CHECK(whole[i].tooLarge == cut[i].tooLarge);
        FUZZ_CHECK(whole[i].data.size() <= kBound && whole[i].type.size() <= kBound);
    }

    WatchAnswerReader answer({24, 19});
    for (std::size_t start = 0; start < size; start += step) {
        for (const WatchedValue &value : answer.feed(input.substr(start, step)).values) {
            FUZZ_CHECK(value.param == 24 || value.param == 19);
        }
    }
    return 0;
}
