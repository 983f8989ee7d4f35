#include "beaconctl/output.h"

#include "beaconctl/safe_text.h"
#include "beaconctl/text_table.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr const char *kGreen = "\x1b[32m";
constexpr const char *kYellow = "\x1b[33m";
constexpr const char *kRed = "\x1b[31m";

// A member of an entry and how it is shown.
struct Member
{
    const char *key; // in JSON
    const char *head;
    std::string Entry::*text;
    std::size_t bound; // columns
};

// With the first three the address lies within the 80 columns of a terminal, whatever
// the names are. A USN of 64 columns has room for any product, address and instance.
const Member kHostName{"hostName", "HOST NAME", &Entry::hostName, 36};
const Member kProduct{"product", "PRODUCT", &Entry::product, 20};
const Member kAddress{"address", "ADDRESS", &Entry::address, 15};
const Member kUsn{"usn", "USN", &Entry::usn, 64};
const Member kDescription{"description", "DESCRIPTION", &Entry::description, 36};
const Member kBoardID{"boardID", "BOARD ID", &Entry::boardID, 12};

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

void Set(QJsonObject &object, const char *key, const std::string &value)
{
    object.insert(QLatin1String(key), QString::fromStdString(value));
}

QJsonObject Object(const Entry &entry, Source source)
{
    QJsonObject object;
    for (const Member &member : Members(source)) {
        Set(object, member.key, entry.*member.text);
    }
    return object;
}

std::string Line(const QJsonDocument &document)
{
    return SafeJson(document.toJson(QJsonDocument::Compact).toStdString()) + '\n';
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

} // namespace

std::string EntriesTable(const Entries &entries, Source source)
{
    TextTable table = Table(source);
    for (const Entry &entry : entries) {
        table.AddRow(Cells(entry, source));
    }
    return table.Text(false);
}

std::string EntriesJson(const Entries &entries, Source source, bool cut)
{
    QJsonArray array;
    for (const Entry &entry : entries) {
        QJsonObject object = Object(entry, source);
        if (cut) {
            object.insert(QStringLiteral("listingCut"), true);
        }
        array.append(object);
    }
    return Line(QJsonDocument(array));
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

std::string ChangesLines(const std::vector<ChangedEntry> &changes, bool json)
{
    std::string lines;
    for (const ChangedEntry &change : changes) {
        if (json) {
            QJsonObject object = Object(change.entry, Source::Listing);
            Set(object, "change", Word(change.change));
            lines += Line(QJsonDocument(object));
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

std::string AnswerText(const SearchAnswer &answer, bool json)
{
    if (json) {
        QJsonObject object;
        Set(object, "address", answer.address);
        Set(object, "st", answer.searchTarget);
        Set(object, "usn", answer.usn);
        Set(object, "location", answer.location);
        Set(object, "server", answer.server);
        return Line(QJsonDocument(object));
    }
    return answer.address + "  " + SafeText(answer.usn) + "\n    ST        " +
           SafeText(answer.searchTarget) + "\n    LOCATION  " + SafeText(answer.location) +
           "\n    SERVER    " + SafeText(answer.server) + '\n';
}
