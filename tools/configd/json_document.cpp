#include "configd/json_document.h"

#include <algorithm>
#include <functional>
#include <sstream>
#include <vector>

namespace configd {
namespace {

using nlohmann::json;

constexpr std::size_t kLongestText = 255; // bytes; a host name of DNS has no more
// No document of this service is nested deeper; keeping no places below bounds
// what a hostile one can make us keep.
constexpr std::size_t kDeepestPlace = 4;

// Follows the parser and notes where each value begins. The parser tells its
// events right after reading the token, so a token begins at the first byte of
// substance after the end of the one before.
class Locator
{
public:
    Locator(std::string_view text, std::istringstream &stream,
            std::map<std::string, std::size_t> &offsets)
        : mText(text), mStream(stream), mOffsets(offsets)
    {
    }

    void Follow(json::parse_event_t event, const json &parsed)
    {
        const std::size_t start = NextToken();
        mEnd = Read();
        switch (event) {
        case json::parse_event_t::object_end:
        case json::parse_event_t::array_end:
            mLevels.pop_back();
            break;
        case json::parse_event_t::key:
            mLevels.back().name = parsed.get_ref<const std::string &>();
            Note(start);
            break;
        case json::parse_event_t::object_start:
        case json::parse_event_t::array_start:
            BeginValue(start);
            mLevels.push_back({event == json::parse_event_t::array_start, 0, {}});
            break;
        case json::parse_event_t::value:
            BeginValue(start);
            break;
        }
    }

    // Where the token begins that no event has told of yet.
    [[nodiscard]] std::size_t NextToken() const
    {
        return mText.find_first_not_of(" \t\r\n:,", mEnd);
    }

private:
    struct Level
    {
        bool array;
        std::size_t next; // index of an array's next element
        std::string name; // of the member or element being read
    };

    // How many bytes the parser has read.
    [[nodiscard]] std::size_t Read() const
    {
        return static_cast<std::size_t>(
            std::streamoff(mStream.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in)));
    }

    void BeginValue(std::size_t start)
    {
        if (!mLevels.empty() && mLevels.back().array) {
            mLevels.back().name = std::to_string(mLevels.back().next++);
        }
        Note(start); // keeps a member's earlier place, that of its name
    }

    void Note(std::size_t start)
    {
        if (mLevels.size() > kDeepestPlace) {
            return;
        }
        std::string path;
        for (const Level &level : mLevels) {
            path += '/' + level.name;
        }
        mOffsets.emplace(path, start);
    }

    std::string_view mText;
    std::istringstream &mStream;
    std::map<std::string, std::size_t> &mOffsets;
    std::vector<Level> mLevels;
    std::size_t mEnd = 0; // of the token before
};

bool IsOneOf(const std::string &name, std::initializer_list<const char *> names)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// The name that a value goes by in a message: the last of its path.
std::string Called(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

JsonDocument::JsonDocument(std::string_view text) : mText(text)
{
    mMalformed = Parse();
}

std::optional<Fault> JsonDocument::Parse()
{
    // For the parser a zero byte is the end; what damaged a file often left many.
    if (const std::size_t zero = mText.find('\0'); zero != std::string::npos) {
        return FaultAt(zero, "malformed JSON");
    }
    std::istringstream stream(mText);
    Locator locator(mText, stream, mOffsets);
    try {
        mRoot = json::parse(stream, [&locator](int, json::parse_event_t event, json &parsed) {
            locator.Follow(event, parsed);
            return true;
        });
    } catch (const json::parse_error &error) {
        return FaultAt(error.byte - 1, "malformed JSON");
    } catch (const json::out_of_range &) {
        return FaultAt(locator.NextToken(), "number out of range");
    }
    return std::nullopt;
}

std::optional<Fault> JsonDocument::ExpectArray(const std::string &path) const
{
    if (!At(path).is_array()) {
        return FaultAt(path, "must be an array");
    }
    return std::nullopt;
}

std::optional<Fault> JsonDocument::ExpectNoOther(const std::string &path,
                                                 std::initializer_list<const char *> names) const
{
    const json &value = At(path);
    if (!value.is_object()) {
        return FaultAt(path, "must be an object");
    }
    for (const auto &member : value.items()) {
        if (!IsOneOf(member.key(), names)) {
            return FaultAt(path + '/' + member.key(), "unknown member");
        }
    }
    return std::nullopt;
}

std::optional<Fault> JsonDocument::ExpectMembers(const std::string &path,
                                                 std::initializer_list<const char *> names) const
{
    if (auto fault = ExpectNoOther(path, names)) {
        return fault;
    }
    for (const char *name : names) {
        if (!At(path).contains(name)) {
            return FaultAt(path, std::string(name) + " is missing");
        }
    }
    return std::nullopt;
}

std::optional<Fault> JsonDocument::ReadText(const std::string &path, std::string &text) const
{
    const auto *value = At(path).get_ptr<const std::string *>();
    if (value == nullptr || !IsPlainText(*value)) {
        return FaultAt(path, Called(path) + " must be a text of at most " +
                                 std::to_string(kLongestText) +
                                 " bytes without control characters");
    }
    text = *value;
    return std::nullopt;
}

std::optional<Fault> JsonDocument::ReadBool(const std::string &path, bool &value) const
{
    if (!At(path).is_boolean()) {
        return FaultAt(path, Called(path) + " must be true or false");
    }
    value = At(path).get<bool>();
    return std::nullopt;
}

Fault JsonDocument::FaultAt(const std::string &path, const std::string &what) const
{
    const auto found = mOffsets.find(path);
    return FaultAt(found == mOffsets.end() ? 0 : found->second, what);
}

Fault JsonDocument::FaultAt(std::size_t offset, const std::string &what) const
{
    const std::string_view before = std::string_view(mText).substr(0, offset);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column) + ": " + what;
}

const json &JsonDocument::At(const std::string &path) const
{
    return mRoot.at(json::json_pointer(path));
}

bool IsPlainText(std::string_view text)
{
    const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; };
    return text.size() <= kLongestText && std::none_of(text.begin(), text.end(), isControl);
}

} // namespace configd
