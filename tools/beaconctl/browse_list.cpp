#include "beaconctl/browse_list.h"

#include "beaconctl/safe_text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

// Far above the list of 4096 devices with the longest names a datagram carries.
constexpr std::size_t kLargest = std::size_t{16} * 1024 * 1024;

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
    entry.description = Text(object, "description");
    entry.boardID = Text(object, "boardID");
    return entry;
}

struct CloseFile
{
    void operator()(std::FILE *file) const { static_cast<void>(std::fclose(file)); }
};

// Reads a file, but no more than one byte over the largest size. False, with errno as
// the system left it, if it cannot be read.
bool ReadFile(const std::string &path, std::string &text)
{
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        return false;
    }
    text.resize(kLargest + 1);
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    return std::ferror(file.get()) == 0;
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
    std::string text;
    std::string fault;
    if (!ReadFile(path, text)) {
        fault = strerror(errno); // NOLINT(concurrency-mt-unsafe): a program of one thread
    } else if (text.size() > kLargest) {
        fault = "larger than any browse list";
    } else if (ReadBrowseText(text, entries, fault)) {
        return true;
    }
    error = SafeText(path) + ": " + fault;
    return false;
}
