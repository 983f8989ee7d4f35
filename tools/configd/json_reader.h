#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

// Reading JSON from outside without building a tree of it. A tree would take 16
// bytes and more for each of two bytes of text. Pure functions.
namespace configd {

// What is wrong with a text, and where: "line 2, column 5: malformed JSON" or
// "/hostName: must be ...". Lines and columns (in bytes) count from 1. A path
// names the members and the indexes that lead to the value; in their names every
// byte that is not printable ASCII, and "/", appears as "?".
using Fault = std::string;

// One value of a text.
struct JsonValue
{
    enum class Kind { Null, Flag, Number, Text, Object, ObjectEnd, Array };

    Kind kind = Kind::Null;
    bool flag = false;     // of a Flag
    std::string_view text; // of a Text: valid UTF-8, without escapes
};

// "must be an object" and the like, unless the value is of that kind.
// REQUIRES: kind is Object, Array or Flag.
[[nodiscard]] std::optional<Fault> ExpectKind(const JsonValue &value, JsonValue::Kind kind);

// Takes a value and its path: "" is the whole text, "/0/name" the member "name"
// of the first element. An object or array comes before its members; an object
// comes once more, as ObjectEnd, after them. Returns what is wrong with the value,
// which ends the reading, or nothing.
// REQUIRES: refuses objects and arrays below some depth, and all numbers.
using TakeJson =
    std::function<std::optional<Fault>(const std::string &path, const JsonValue &value)>;

// Reads a text and has each value taken. Returns nothing if the text is JSON in
// UTF-8, no string, number or space in it has more than 512 bytes, and every value
// was taken. The time is linear in the text's length; the memory does not depend
// on it.
[[nodiscard]] std::optional<Fault> ReadJson(std::string_view text, const TakeJson &take);

// A text as a JSON string. What is not UTF-8 becomes U+FFFD.
[[nodiscard]] std::string JsonString(const std::string &text);

} // namespace configd
