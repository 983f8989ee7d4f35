#include "beaconctl/safe_text.h"

#include <QString>
#include <QTextCodec>
#include <QVector>
#include <array>
#include <cstdio>

namespace {

// The length of the UTF-8 sequence that a byte begins, 0 for one that begins
// none.
std::size_t SequenceLength(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// The one character that the bytes encode, 0xFFFFFFFF when they encode none.
char32_t Decode(std::string_view bytes)
{
    if (bytes.size() == 1) {
        return static_cast<unsigned char>(bytes.front());
    }
    constexpr int kUtf8 = 106; // the registered number of the encoding
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const QVector<uint> decoded =
        QTextCodec::codecForMib(kUtf8)
            ->toUnicode(bytes.data(), static_cast<int>(bytes.size()), &state)
            .toUcs4();
    const bool valid = state.invalidChars == 0 && state.remainingChars == 0 && decoded.size() == 1;
    return valid ? decoded[0] : 0xFFFFFFFF;
}

// Takes the next character off a text. False for a byte that is no UTF-8, which
// is then the character.
bool TakeCharacter(std::string_view &text, std::string_view &bytes, char32_t &character)
{
    const std::size_t length = SequenceLength(static_cast<unsigned char>(text.front()));
    bytes = text.substr(0, length);
    character = length == 0 || bytes.size() < length ? 0xFFFFFFFF : Decode(bytes);
    const bool valid = character != 0xFFFFFFFF;
    if (!valid) {
        bytes = text.substr(0, 1);
        character = static_cast<unsigned char>(text.front());
    }
    text.remove_prefix(bytes.size());
    return valid;
}

// Control and format characters: they act on the text around them, or are invisible.
// The two ranges hold some that Unicode has only reserved for such characters.
bool IsActive(char32_t character)
{
    const QChar::Category category = QChar::category(static_cast<uint>(character));
    return category == QChar::Other_Control || category == QChar::Other_Format ||
           category == QChar::Separator_Line || category == QChar::Separator_Paragraph ||
           (character >= 0x2060 && character <= 0x206F) ||
           (character >= 0xE0000 && character <= 0xE0FFF);
}

void AppendEscape(std::string &text, bool valid, char32_t character)
{
    std::array<char, 16> escape{};
    const bool byte = !valid || character < 0x80;
    std::snprintf(escape.data(), escape.size(), byte ? "\\x%02x" : "\\u{%04x}",
                  static_cast<unsigned int>(character));
    text += escape.data();
}

bool IsWide(char32_t c)
{
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) ||
           (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
           (c >= 0xFE30 && c <= 0xFE6F) || (c >= 0xFF00 && c <= 0xFF60) ||
           (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1FAFF) ||
           (c >= 0x20000 && c <= 0x3FFFD);
}

bool IsCombining(char32_t c)
{
    return QChar::category(static_cast<uint>(c)) == QChar::Mark_NonSpacing ||
           QChar::category(static_cast<uint>(c)) == QChar::Mark_Enclosing;
}

std::size_t Columns(char32_t character)
{
    return IsCombining(character) ? 0 : IsWide(character) ? 2 : 1;
}

// Appends a UTF-16 unit as JSON writes it.
void AppendUnit(std::string &json, char32_t unit)
{
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned int>(unit));
    json += escape.data();
}

} // namespace

std::string SafeText(std::string_view text)
{
    std::string safe;
    safe.reserve(text.size());
    while (!text.empty()) {
        std::string_view bytes;
        char32_t character = 0;
        const bool valid = TakeCharacter(text, bytes, character);
        if (!valid || IsActive(character)) {
            AppendEscape(safe, valid, character);
        } else if (character == '\\') {
            safe += "\\\\";
        } else {
            safe += bytes;
        }
    }
    return safe;
}

std::string SafeJson(std::string_view json)
{
    std::string safe;
    safe.reserve(json.size());
    while (!json.empty()) {
        std::string_view bytes;
        char32_t character = 0;
        static_cast<void>(TakeCharacter(json, bytes, character));
        if (!IsActive(character)) {
            safe += bytes;
        } else if (character < 0x10000) {
            AppendUnit(safe, character);
        } else {
            AppendUnit(safe, QChar::highSurrogate(static_cast<uint>(character)));
            AppendUnit(safe, QChar::lowSurrogate(static_cast<uint>(character)));
        }
    }
    return safe;
}

std::size_t DisplayWidth(std::string_view safeText)
{
    std::size_t width = 0;
    while (!safeText.empty()) {
        std::string_view bytes;
        char32_t character = 0;
        static_cast<void>(TakeCharacter(safeText, bytes, character));
        width += Columns(character);
    }
    return width;
}

std::string Shorten(const std::string &safeText, std::size_t columns)
{
    constexpr std::string_view kCut = "...";
    std::string_view rest = safeText;
    std::size_t width = 0;
    std::size_t characters = 0;
    std::size_t kept = 0; // bytes that leave room for the mark of the cut
    while (!rest.empty()) {
        std::string_view bytes;
        char32_t character = 0;
        static_cast<void>(TakeCharacter(rest, bytes, character));
        width += Columns(character);
        if (width + kCut.size() <= columns) {
            kept = safeText.size() - rest.size();
        }
        if (width > columns || ++characters > 2 * columns) {
            return safeText.substr(0, kept).append(kCut);
        }
    }
    return safeText;
}
