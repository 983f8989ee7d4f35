#include "beaconctl/output.h"

#include "beaconctl/sources.h"
#include "beaconctl/terminal_text.h"
#include "formats/utf8.h"
#include "vexbase/vex_output.h"
#include "vexbase/vex_text.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <unistd.h>

namespace beaconctl {
namespace {

using nlohmann::json;

constexpr int kForever = -1;          // of poll()
constexpr std::size_t kMeaning = 120; // columns
constexpr const char *kGreen = "\x1b[32m";
constexpr const char *kYellow = "\x1b[33m";
constexpr const char *kRed = "\x1b[31m";

// A text takes two lines of a terminal at most: one answer must not push others off the screen.
constexpr std::size_t kAnswerColumns = 128;

// How a member of an entry is shown.
struct Member
{
    const char *key; // in the JSON of a listing
    const char *head;
    std::string Entry::*text;
    std::size_t bound; // columns
};

// The first three columns keep the address within the 80 columns of a terminal, however
// long the names are. A USN of 64 columns has room for any product, address and instance.
const Member kHostName{"hostName", "HOST NAME", &Entry::hostName, 36};
const Member kProduct{"product", "PRODUCT", &Entry::product, 20};
const Member kAddress{"address", "ADDRESS", &Entry::address, 15};
const Member kUsn{"usn", "USN", &Entry::usn, 64};
const Member kDescription{"", "DESCRIPTION", &Entry::description, 36};
const Member kBoardID{"", "BOARD ID", &Entry::boardID, 12};

const std::vector<Member> &Members(Source source)
{
    static const std::vector<Member> listing{kHostName, kProduct, kAddress, kUsn};
    static const std::vector<Member> browseList{kHostName, kProduct, kAddress, kDescription,
                                                kBoardID};
    return source == Source::Listing ? listing : browseList;
}

const char *Colour(Change change)
{
    switch (change) {
    case Change::Came:
        return kGreen;
    case Change::Changed:
        return kYellow;
    case Change::Went:
        return kRed;
    case Change::None:
        break;
    }
    return "";
}

const char *Word(Change change)
{
    switch (change) {
    case Change::Came:
        return "came";
    case Change::Changed:
        return "changed";
    case Change::Went:
        return "went";
    case Change::None:
        break;
    }
    return "present";
}

void Set(json &object, const char *key, const std::string &value)
{
    object[key] = formats::ReplaceInvalidUtf8(value);
}

// The object of an entry of a listing.
json Object(const Entry &entry)
{
    json object;
    for (const Member &member : Members(Source::Listing)) {
        Set(object, member.key, entry.*member.text);
    }
    return object;
}

std::string Line(const json &value)
{
    return SafeJson(value.dump()) + '\n';
}

std::vector<std::string> Cells(const Entry &entry, Source source)
{
    std::vector<std::string> cells;
    for (const Member &member : Members(source)) {
        cells.push_back(entry.*member.text);
    }
    return cells;
}

TextTable Table(Source source)
{
    std::vector<TextTable::Column> columns;
    for (const Member &member : Members(source)) {
        columns.push_back({member.head, member.bound});
    }
    return TextTable(std::move(columns));
}

std::string Short(const Entry &entry, const Member &member)
{
    return Shorten(SafeText(entry.*member.text), member.bound);
}

// The time of day with milliseconds; in UTC with the date before it.
std::string TimeText(const timespec &time, bool utc)
{
    tm parts{};
    utc ? gmtime_r(&time.tv_sec, &parts) : localtime_r(&time.tv_sec, &parts);
    std::array<char, 32> text{};
    static_cast<void>(
        std::strftime(text.data(), text.size(), utc ? "%Y-%m-%dT%H:%M:%S" : "%H:%M:%S", &parts));
    const std::string thousandths = std::to_string(1000 + time.tv_nsec / 1000000);
    return vexbase::Concat({text.data(), ".", thousandths.substr(1), utc ? "Z" : ""});
}

// A text as a part of a line: safe, "-" if empty, shortened to bound and padded to width
// columns, with the gap after it.
std::string Cell(std::string_view text, std::size_t width, std::size_t bound)
{
    std::string cell = Shorten(SafeText(text.empty() ? "-" : text), bound);
    const std::size_t length = DisplayWidth(cell);
    return cell.append(width > length ? width - length : 0, ' ').append("  ");
}

// False, after a line on standard error.
bool ReportWriteError(int number)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    WriteError(vexbase::Concat({"cannot write: ", strerror(number)}));
    return false;
}

} // namespace

std::string EntriesTable(const Entries &entries, Source source)
{
    TextTable table = Table(source);
    for (const Entry &entry : entries) {
        table.AddRow(Cells(entry, source));
    }
    return table.Text(false);
}

std::string EntriesJson(const Entries &entries, bool cut)
{
    json array = json::array();
    for (const Entry &entry : entries) {
        json object = Object(entry);
        if (cut) {
            object["listingCut"] = true;
        }
        array.push_back(std::move(object));
    }
    return Line(array);
}

std::string ChangesTable(const std::vector<ChangedEntry> &changes, bool colours)
{
    TextTable table = Table(Source::Listing);
    for (const ChangedEntry &change : changes) {
        table.AddRow(Cells(change.entry, Source::Listing), Mark(change.change),
                     Colour(change.change));
    }
    return table.Text(colours);
}

std::string ChangesLines(const std::vector<ChangedEntry> &changes, bool inJson)
{
    std::string lines;
    for (const ChangedEntry &change : changes) {
        if (inJson) {
            json object = Object(change.entry);
            Set(object, "change", Word(change.change));
            lines += Line(object);
        } else {
            lines += std::string(1, Mark(change.change)) + ' ' + Short(change.entry, kHostName) +
                     "  " + Short(change.entry, kProduct) + "  " + Short(change.entry, kAddress) +
                     '\n';
        }
    }
    return lines;
}

std::string CutJson(bool cut)
{
    return cut ? "{\"change\":\"cut\"}\n" : "{\"change\":\"whole\"}\n";
}

std::string AnswerText(const std::string &address, const formats::SearchResponseHeaders &headers,
                       bool json)
{
    if (json) {
        nlohmann::json object;
        Set(object, "address", address);
        Set(object, "st", headers.searchTarget);
        Set(object, "usn", headers.usn);
        Set(object, "location", headers.location);
        Set(object, "server", headers.server);
        return Line(object);
    }
    const auto shown = [](std::string_view text) {
        return Shorten(SafeText(text), kAnswerColumns);
    };
    return vexbase::Concat({address, "  ", shown(headers.usn), "\n    ST        ",
                            shown(headers.searchTarget), "\n    LOCATION  ",
                            shown(headers.location), "\n    SERVER    ", shown(headers.server),
                            "\n"});
}

std::string MonitorText(const timespec &time, const Datagram &datagram, const Message &message,
                        bool json)
{
    if (json) {
        nlohmann::json object;
        Set(object, "time", TimeText(time, true));
        Set(object, "from", AddressText(datagram.from));
        Set(object, "to", AddressText(datagram.to));
        Set(object, "method", std::string(message.method));
        Set(object, "type", message.type);
        Set(object, "usn", message.usn);
        Set(object, "location", message.location);
        Set(object, "meaning", message.meaning);
        return Line(object);
    }
    return vexbase::Concat({TimeText(time, false), "  ", Cell(AddressText(datagram.from), 15, 15),
                            Cell(message.method, 8, 8), Cell(message.type, 15, 36),
                            Cell(message.usn, 0, kUsn.bound),
                            Shorten(SafeText(message.meaning), kMeaning), "\n"});
}

void OccupyClosedStreams()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool WriteOutput(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) { // another program with the same stream set O_NONBLOCK
            pollfd output{STDOUT_FILENO, POLLOUT, 0};
            poll(&output, 1, kForever);
        } else if (errno != EINTR) {
            return ReportWriteError(errno);
        }
    }
    return true;
}

bool WaitWhileOutputIsRead(int milliseconds, int descriptor)
{
    // No events of the output: errors are always reported. poll() skips a negative descriptor.
    std::array<pollfd, 2> waiting{{{STDOUT_FILENO, 0, 0}, {descriptor, POLLIN, 0}}};
    if (poll(waiting.data(), waiting.size(), milliseconds) <= 0 || waiting[0].revents == 0) {
        return true;
    }
    raise(SIGPIPE); // like a write
    return ReportWriteError(EPIPE);
}

void WriteError(const std::string &text)
{
    vexbase::WriteFault({"beaconctl: ", text});
}

} // namespace beaconctl
