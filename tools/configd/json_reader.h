#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

// Reads untrusted JSON value by value. A tree of all values would need 16 bytes or more
// for every two bytes of text. Pure functions.
namespace configd {

// The description of a fault and its place: "line 2, column 5: malformed JSON" or
// "/hostName: must be ...". Lines and columns (in bytes) count from 1. A path consists
// of the names of members and the indexes of elements. In the names, "/" and every byte
// that is not printable ASCII are replaced by "?".
using Fault = std::string;

// One value of a text.
struct JsonValue
{
    enum class Kind { Null, Flag, Number, Text, Object, ObjectEnd, Array };

    Kind kind = Kind::Null;
    bool flag = false;     // if kind is Flag
    std::string_view text; // if kind is Text: valid UTF-8, with escapes resolved
};

// Returns a fault such as "must be an object" if the value is not of this kind.
// REQUIRES: kind is Object, Array or Flag.
[[nodiscard]] std::optional<Fault> ExpectKind(const JsonValue &value, JsonValue::Kind kind);

// Receives a value and its path: "" is the whole text, "/0/name" the member "name" of
// the first element. An object or array is passed before its members. After the members
// of an object, ObjectEnd is passed. Returns a fault to refuse the value, which ends the
// reading, or nothing to continue.
// REQUIRES: it refuses numbers, and objects and arrays that are nested deeper than some limit.
using TakeJson =
    std::function<std::optional<Fault>(const std::string &path, const JsonValue &value)>;

// Reads a text and passes each value to take. Returns a fault if the text is not JSON in
// UTF-8, if it has a string, number or white space of more than 512 bytes, or if take
// refuses a value; otherwise nothing. The time is linear in the length of the text. The
// memory does not depend on the length.
[[nodiscard]] std::optional<Fault> ReadJson(std::string_view text, const TakeJson &take);

// A text as a JSON string. Bytes that are not UTF-8 are replaced by U+FFFD.
[[nodiscard]] std::string JsonString(const std::string &text);

} // namespace configd
