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
    return "stayed";
}

void Set(QJsonObject &object, const char *key, const std::string &value)
{
    object.insert(QLatin1String(key), QString::fromStdString(value));
}

QJsonObject Object(const Entry &entry, Detail detail)
{
    QJsonObject object;
    Set(object, "hostName", entry.hostName);
    Set(object, "product", entry.product);
    Set(object, "address", entry.address);
    Set(object, detail == Detail::Usn ? "usn" : "description", entry.detail);
    return object;
}

std::string Compact(const QJsonDocument &document)
{
    return document.toJson(QJsonDocument::Compact).toStdString() + "\n";
}

std::vector<std::string> Cells(const Entry &entry)
{
    return {entry.hostName, entry.product, entry.address, entry.detail};
}

std::vector<std::string> Heads(Detail detail)
{
    return {"HOST NAME", "PRODUCT", "ADDRESS", detail == Detail::Usn ? "USN" : "DESCRIPTION"};
}

} // namespace

std::string EntriesTable(const Entries &entries, Detail detail, bool colours)
{
    TextTable table(Heads(detail));
    for (const Entry &entry : entries) {
        table.AddRow(Cells(entry));
    }
    return table.Text(colours);
}

std::string EntriesJson(const Entries &entries, Detail detail)
{
    QJsonArray array;
    for (const Entry &entry : entries) {
        array.append(Object(entry, detail));
    }
    return Compact(QJsonDocument(array));
}

std::string ChangesTable(const std::vector<ChangedEntry> &changes, bool colours)
{
    TextTable table(Heads(Detail::Usn));
    for (const ChangedEntry &change : changes) {
        table.AddRow(Cells(change.entry), Mark(change.change), Colour(change.change));
    }
    return table.Text(colours);
}

std::string ChangesLines(const std::vector<ChangedEntry> &changes, bool json)
{
    std::string lines;
    for (const ChangedEntry &change : changes) {
        if (change.change == Change::None) {
            continue;
        }
        if (json) {
            QJsonObject object = Object(change.entry, Detail::Usn);
            Set(object, "change", Word(change.change));
            lines += Compact(QJsonDocument(object));
        } else {
            lines += std::string(1, Mark(change.change)) + ' ' + SafeText(change.entry.hostName) +
                     "  " + SafeText(change.entry.product) + "  " + SafeText(change.entry.address) +
                     '\n';
        }
    }
    return lines;
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
        return Compact(QJsonDocument(object));
    }
    return answer.address + "  " + SafeText(answer.usn) + "\n    ST        " +
           SafeText(answer.searchTarget) + "\n    LOCATION  " + SafeText(answer.location) +
           "\n    SERVER    " + SafeText(answer.server) + '\n';
}
