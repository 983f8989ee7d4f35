// What beaconctl shows: no byte of the network acts on the terminal.

#include "beaconctl/browse_list.h"
#include "beaconctl/output.h"
#include "beaconctl/safe_text.h"
#include "beaconctl/search_answer.h"
#include "check.h"

#include <QString>
#include <algorithm>

namespace {

bool IsSafe(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) {
        return c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const std::string safe = SafeText(input);
    FUZZ_CHECK(IsSafe(safe) && safe.find('\n') == std::string::npos);
    FUZZ_CHECK(QString::fromStdString(safe).toStdString() == safe); // valid UTF-8
    FUZZ_CHECK(DisplayWidth(safe) <= 2 * safe.size());
    Entries entries;
    std::string error;
    if (ReadBrowseText(std::string(input), entries, error)) {
        FUZZ_CHECK(IsSafe(EntriesTable(entries, Detail::Description, false)));
    } else {
        FUZZ_CHECK(!error.empty() && error.find('\n') == std::string::npos);
    }
    if (const auto answer = ReadSearchAnswer(input)) {
        FUZZ_CHECK(IsSafe(AnswerText(*answer, false)));
    }
    return 0;
}
