// The output of beaconctl: no received byte acts on the terminal, and JSON keeps the texts.
// Memory and output are in proportion to the input.

#include "beaconctl/output.h"
#include "beaconctl/terminal_text.h"
#include "check.h"
#include "formats/browse_document.h"
#include "formats/utf8.h"
#include "memory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <algorithm>

using namespace beaconctl;

namespace {

// The reader of JSON keeps 16 bytes for each value, doubles its room when that is full, and has a
// node of a tree for each member. A fault, which is composed in several steps, names each control
// character with eight bytes.
constexpr std::size_t kFixedOfJson = 2048;
constexpr std::size_t kPerByteOfJson = 128;

// Control characters, and those that reverse or hide the text around them.
bool IsActive(uint c)
{
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xAD || c == 0x61C ||
           (c >= 0x200B && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) ||
           (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF || (c >= 0xE0000 && c <= 0xE007F);
}

bool IsSafe(const std::string &text)
{
    const QString characters = QString::fromStdString(text);
    const auto codes = characters.toUcs4();
    return characters.toStdString() == text && // valid UTF-8
           std::none_of(codes.begin(), codes.end(),
                        [](uint c) { return c != '\n' && IsActive(c); });
}

bool IsSafeLine(const std::string &text)
{
    return IsSafe(text) && std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n';
}

// The output of compose, which writes this number of objects or rows with so many bytes of texts.
// A byte becomes up to six, such as \u0001. In memory, an object of JSON has a node for each
// member, and each text is replaced, set, written and made safe.
template <typename Compose>
std::string WithinCost(std::size_t objects, std::size_t bytes, const Compose &compose)
{
    const MemoryCount memory;
    std::string text = compose();
    FUZZ_CHECK(memory.Allocated() <= 4096 * objects + 64 * bytes);
    FUZZ_CHECK(text.size() <= 256 * objects + 6 * bytes);
    return text;
}

void CheckText(const std::string &input)
{
    // "x", since Qt drops a byte order mark at the start.
    FUZZ_CHECK(formats::ReplaceInvalidUtf8("x" + input) ==
               QString::fromStdString("x" + input).toStdString());
    const MemoryCount memory;
    const std::string safe = SafeText(input);
    // A byte becomes up to four, such as \xff. A text doubles its room when it grows.
    FUZZ_CHECK(memory.Allocated() <= 128 + 8 * input.size());
    FUZZ_CHECK(safe.size() <= 4 * input.size());
    FUZZ_CHECK(IsSafe(safe) && safe.find('\n') == std::string::npos);
    FUZZ_CHECK(DisplayWidth(safe) <= 2 * safe.size());
    for (const std::size_t columns : {3U, 4U, 36U}) {
        const MemoryCount shortening;
        const std::string text = Shorten(safe, columns);
        FUZZ_CHECK(shortening.Allocated() <= 256 + 2 * safe.size());
        FUZZ_CHECK(IsSafe(text) && DisplayWidth(text) <= columns);
        FUZZ_CHECK(text == safe || text.substr(text.size() - 3) == "...");
    }
}

// Checks that the text is an array with the host name and one other member of each entry.
void CheckArray(const std::string &json, const Entries &entries, const QString &key,
                std::string Entry::*text)
{
    FUZZ_CHECK(IsSafeLine(json));
    const QJsonArray array = QJsonDocument::fromJson(QByteArray::fromStdString(json)).array();
    FUZZ_CHECK(static_cast<std::size_t>(array.size()) == entries.size());
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const QJsonObject object = array[static_cast<int>(index)].toObject();
        FUZZ_CHECK(object[QStringLiteral("hostName")].toString().toStdString() ==
                   entries[index].hostName);
        FUZZ_CHECK(object[key].toString().toStdString() == entries[index].*text);
    }
}

void CheckEntries(const Entries &entries, std::size_t size)
{
    const std::string table = WithinCost(
        entries.size() + 1, size, [&entries] { return EntriesTable(entries, Source::BrowseList); });
    FUZZ_CHECK(IsSafe(table));
    const std::string json =
        WithinCost(entries.size() + 1, size, [&entries] { return EntriesJson(entries, true); });
    CheckArray(json, entries, QStringLiteral("product"), &Entry::product);
}

// Checks that each element of the list is an entry, by another reader of JSON. That one refuses
// deep nesting, and bytes that are not UTF-8. For the list, a zero byte is the end of the text.
void CheckCount(const std::string &input, const Entries &entries)
{
    const std::string text = formats::ReplaceInvalidUtf8(input.substr(0, input.find('\0')));
    QJsonParseError error{};
    const QJsonDocument list = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    FUZZ_CHECK(list.isArray() || error.error == QJsonParseError::DeepNesting);
    FUZZ_CHECK(list.isNull() || static_cast<std::size_t>(list.array().size()) == entries.size());
}

// Checks the copy of the list from which the entries were read.
void CheckCopy(const std::string &input, const Entries &entries)
{
    const MemoryCount memory;
    std::string copy;
    std::string error;
    FUZZ_CHECK(formats::CopyBrowseDocument(input, copy, error));
    FUZZ_CHECK(memory.Allocated() <= kFixedOfJson + kPerByteOfJson * input.size());
    FUZZ_CHECK(copy.size() <= 3 * input.size()); // a byte becomes U+FFFD
    CheckArray(SafeJson(copy) + '\n', entries, QStringLiteral("boardID"), &Entry::boardID);
}

void CheckDatagram(const std::optional<Datagram> &datagram)
{
    if (datagram) {
        const MemoryCount memory;
        const Message message = DescribeDatagram(*datagram);
        // The elements of a description may overlap: each of its texts may be the whole datagram.
        FUZZ_CHECK(memory.Allocated() <= 512 + 16 * datagram->text.size());
        const std::size_t size = message.type.size() + message.usn.size() +
                                 message.location.size() + message.meaning.size();
        for (const bool json : {false, true}) {
            FUZZ_CHECK(IsSafeLine(
                WithinCost(1, size, [&] { return MonitorText({}, *datagram, message, json); })));
        }
        FUZZ_CHECK(IsWanted(*datagram, message, "", ""));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // The first text of monitor reads the time zone, which is kept.
    static const std::string first = MonitorText({}, {}, {}, false);
    const std::string input(Text(data, size));
    CheckText(input);
    std::vector<SSDPDeviceType> devices;
    std::string error;
    const MemoryCount memory;
    const bool isList = formats::ReadBrowseDocument(input, devices, error);
    FUZZ_CHECK(memory.Allocated() <=
               kFixedOfJson + kPerByteOfJson * size + 4 * sizeof(SSDPDeviceType) * devices.size());
    if (isList) {
        Entries entries;
        for (const SSDPDeviceType &each : devices) {
            entries.push_back({each.hostName, each.modelName, each.ipAddress, "",
                               each.modelDescription, each.boardID});
        }
        CheckCount(input, entries);
        CheckEntries(entries, size);
        CheckCopy(input, entries);
    } else {
        FUZZ_CHECK(!error.empty() && error.find('\n') == std::string::npos);
    }
    if (const auto headers = formats::ReadSearchResponse(input)) {
        for (const bool json : {false, true}) {
            const std::string text =
                WithinCost(1, size, [&] { return AnswerText("192.0.2.10", *headers, json); });
            FUZZ_CHECK(json ? IsSafeLine(text) : IsSafe(text));
        }
    }
    CheckDatagram(MakeDatagram({}, {}, input));
    CheckDatagram(ReadPacket(input));
    const Entry listed{input, input, input, input, "", ""};
    const std::vector<ChangedEntry> changes{{listed, Change::Came}};
    for (const bool json : {false, true}) {
        FUZZ_CHECK(
            IsSafeLine(WithinCost(1, 4 * size, [&] { return ChangesLines(changes, json); })));
    }
    return 0;
}
