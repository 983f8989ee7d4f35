#include "beaconctl/browse_list.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// Far above the list of 4096 devices with the longest names a datagram carries.
constexpr qint64 kLargest = 16LL * 1024 * 1024;

std::string Text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString().toStdString();
}

Entry EntryOf(const QJsonObject &object)
{
    Entry entry;
    entry.hostName = Text(object, "hostName");
    entry.product = Text(object, "deviceName");
    entry.address = Text(object, "ipAddress");
    entry.detail = Text(object, "description") + " " + Text(object, "boardID");
    entry.key = entry.product + "-" + entry.address + "-" + Text(object, "boardNumber");
    return entry;
}

} // namespace

bool ReadBrowseText(const std::string &text, Entries &entries, std::string &error)
{
    QJsonParseError fault{};
    // Names are in the list as the network gave them, UTF-8 or not.
    const QByteArray valid = QString::fromStdString(text).toUtf8();
    const QJsonDocument document = QJsonDocument::fromJson(valid, &fault);
    if (fault.error != QJsonParseError::NoError) {
        error = fault.errorString().toStdString() + " at byte " + std::to_string(fault.offset);
        return false;
    }
    if (!document.isArray()) {
        error = "not a browse list: no JSON array";
        return false;
    }
    Entries read;
    for (const auto &value : document.array()) {
        if (!value.isObject()) {
            error = "not a browse list: an element is no object";
            return false;
        }
        read.push_back(EntryOf(value.toObject()));
    }
    entries = std::move(read);
    return true;
}

bool ReadBrowseFile(const std::string &path, Entries &entries, std::string &error)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly)) {
        error = path + ": " + file.errorString().toStdString();
        return false;
    }
    const QByteArray text = file.read(kLargest + 1);
    if (text.size() > kLargest) {
        error = path + ": larger than any browse list";
        return false;
    }
    if (!ReadBrowseText(text.toStdString(), entries, error)) {
        error = path + ": " + error;
        return false;
    }
    return true;
}
