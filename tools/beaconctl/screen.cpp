#include "beaconctl/screen.h"

#include <algorithm>

namespace {

constexpr const char *kHome = "\x1b[H";
constexpr const char *kEndOfLine = "\x1b[K\n"; // with what stood there before gone
constexpr const char *kClearBelow = "\x1b[J";
constexpr const char *kCutLines = "\x1b[?7l";

// The head, an empty line, and the one that the cursor comes to rest on.
constexpr std::size_t kOtherLines = 3;

std::size_t LineCount(std::string_view table)
{
    return static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
}

} // namespace

std::string ScreenText(const std::string &head, const std::string &table, std::size_t height)
{
    const std::size_t lines = LineCount(table);
    const std::size_t room = height == 0 ? lines : std::max(height, kOtherLines + 2) - kOtherLines;
    // One less when they do not fit: for the line that says so.
    const std::size_t shown = lines <= room ? lines : room - 1;
    std::string screen = std::string(kCutLines) + kHome + head + kEndOfLine + kEndOfLine;
    std::string_view rest = table;
    for (std::size_t line = 0; line < shown; ++line) {
        const std::size_t end = rest.find('\n');
        screen.append(rest.substr(0, end)).append(kEndOfLine);
        rest.remove_prefix(end + 1);
    }
    if (shown < lines) {
        screen += "  and " + std::to_string(lines - shown) + " more" + kEndOfLine;
    }
    return screen.append(kClearBelow).append(kWrapLines);
}
