#include "configd/json_reader.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

namespace configd {
namespace {

using nlohmann::json;

constexpr const char *kMalformed = "malformed JSON";

// In bytes. The longest accepted string, 63 bytes, has 380 if every byte is escaped.
constexpr std::size_t kLongestRun = 512;

// Longer names of members are cut in faults. Every known name is shorter.
constexpr std::size_t kLongestShownName = 64;

std::string Shown(std::string_view name)
{
    std::string shown(name.substr(0, kLongestShownName));
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~' || c == '/'; }, '?');
    return shown;
}

Fault FaultAt(std::string_view text, std::size_t offset, const std::string &what)
{
    const std::string_view before = text.substr(0, offset);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column) + ": " + what;
}

// The position of the first run of more than kLongestRun bytes; the end of the text if
// there is none. A run is a string, or everything between strings and the characters
// ,:[]{}.
std::size_t FindLongRun(std::string_view text)
{
    constexpr std::string_view kStructure = ",:[]{}";
    std::size_t start = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (inString && text[i] == '\\') {
            ++i;
        } else if (text[i] == '"') {
            start = inString ? i + 1 : i;
            inString = !inString;
        } else if (!inString && kStructure.find(text[i]) != std::string_view::npos) {
            start = i + 1;
        }
        if (i + 1 - start > kLongestRun) {
            return start;
        }
    }
    return text.size();
}

// Receives the parser's events. Parsing continues if the function for an event returns true.
class Events : public nlohmann::json_sax<json>
{
public:
    Events(std::string_view text, const TakeJson &take) : mText(text), mTake(take) {}

    std::optional<Fault> fault;

    bool null() override { return Take({JsonValue::Kind::Null, false, {}}); }
    bool boolean(bool flag) override { return Take({JsonValue::Kind::Flag, flag, {}}); }
    bool number_integer(number_integer_t /*number*/) override { return TakeNumber(); }
    bool number_unsigned(number_unsigned_t /*number*/) override { return TakeNumber(); }
    bool number_float(number_float_t /*number*/, const string_t & /*text*/) override
    {
        return TakeNumber();
    }
    bool string(string_t &text) override { return Take({JsonValue::Kind::Text, false, text}); }
    bool binary(binary_t & /*value*/) override { return false; } // never called for JSON

    bool start_object(std::size_t /*size*/) override { return Begin(JsonValue::Kind::Object); }
    bool key(string_t &name) override
    {
        mPath.resize(mLevels.back().pathLength);
        mPath += '/' + Shown(name);
        return true;
    }
    bool end_object() override
    {
        End();
        return Report({JsonValue::Kind::ObjectEnd, false, {}});
    }
    bool start_array(std::size_t /*size*/) override { return Begin(JsonValue::Kind::Array); }
    bool end_array() override
    {
        End();
        return true;
    }

    bool parse_error(std::size_t read, const std::string & /*token*/,
                     const json::exception &error) override
    {
        constexpr int kOutOfRange = 406; // a valid number, but too large for the parser
        if (error.id == kOutOfRange) {
            return TakeNumber();
        }
        fault = FaultAt(mText, read - 1, kMalformed);
        return false;
    }

private:
    struct Level
    {
        bool array;
        std::size_t next;       // index of an array's next element
        std::size_t pathLength; // of the path of this object or array
    };

    bool Take(const JsonValue &value)
    {
        if (!mLevels.empty() && mLevels.back().array) {
            mPath.resize(mLevels.back().pathLength);
            mPath += '/' + std::to_string(mLevels.back().next++);
        }
        return Report(value);
    }
    bool TakeNumber() { return Take({JsonValue::Kind::Number, false, {}}); }

    bool Report(const JsonValue &value)
    {
        fault = mTake(mPath, value);
        if (fault && !mPath.empty()) {
            fault = mPath + ": " + *fault;
        }
        return !fault;
    }

    bool Begin(JsonValue::Kind kind)
    {
        if (!Take({kind, false, {}})) {
            return false;
        }
        mLevels.push_back({kind == JsonValue::Kind::Array, 0, mPath.size()});
        return true;
    }
    void End()
    {
        mPath.resize(mLevels.back().pathLength);
        mLevels.pop_back();
    }

    std::string_view mText;
    const TakeJson &mTake;
    std::string mPath; // the path of the next value
    std::vector<Level> mLevels;
};

} // namespace

std::optional<Fault> ExpectKind(const JsonValue &value, JsonValue::Kind kind)
{
    if (value.kind == kind) {
        return std::nullopt;
    }
    if (kind == JsonValue::Kind::Flag) {
        return "must be true or false";
    }
    return kind == JsonValue::Kind::Object ? "must be an object" : "must be an array";
}

std::optional<Fault> ReadJson(std::string_view text, const TakeJson &take)
{
    // The parser treats a zero byte as the end of the text. After a power cut a file may
    // contain many zero bytes.
    if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
        return FaultAt(text, zero, kMalformed);
    }
    // The limit saves memory: the parser keeps several copies of a token and of the
    // white space before it.
    if (const std::size_t run = FindLongRun(text); run != text.size()) {
        return FaultAt(text, run,
                       "a value or white space of more than " + std::to_string(kLongestRun) +
                           " bytes");
    }
    Events events(text, take);
    const bool read = json::sax_parse(text.begin(), text.end(), &events);
    return read ? std::nullopt : events.fault;
}

std::string JsonString(const std::string &text)
{
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace configd
