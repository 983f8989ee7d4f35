#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace configd {

// What is wrong with a text from outside and where, as its sender is told:
// "line 2, column 5: hostName must be ...". Lines and columns (in bytes) count
// from 1.
using Fault = std::string;

// A text as JSON, with the place of each value in it, so that whoever edits a
// file by hand learns what to mend and where. Pure: knows no file, no socket.
//
// Values are named by their path: "" is the whole, "/0/status" the member
// "status" of the first element. Each operation returns a fault, or nothing
// when all is well, and then only has changed its output.
class JsonDocument
{
public:
    // Reads a text of any length and depth.
    explicit JsonDocument(std::string_view text);

    // Whether that failed, for the text is no JSON in UTF-8 or has numbers that do
    // not fit. Everything else REQUIRES that it did not.
    [[nodiscard]] const std::optional<Fault> &Malformed() const { return mMalformed; }

    [[nodiscard]] const nlohmann::json &Root() const { return mRoot; }

    // The value must be an array.
    [[nodiscard]] std::optional<Fault> ExpectArray(const std::string &path) const;
    // The value must be an object without other members than those named.
    [[nodiscard]] std::optional<Fault>
    ExpectNoOther(const std::string &path, std::initializer_list<const char *> names) const;
    // The value must be an object with the members named and no others.
    [[nodiscard]] std::optional<Fault>
    ExpectMembers(const std::string &path, std::initializer_list<const char *> names) const;

    // The value must be a text of at most 255 bytes without control characters,
    // which would otherwise travel on into headers and lists. REQUIRES: it exists.
    [[nodiscard]] std::optional<Fault> ReadText(const std::string &path, std::string &text) const;
    // The value must be true or false. REQUIRES: it exists.
    [[nodiscard]] std::optional<Fault> ReadBool(const std::string &path, bool &value) const;

    // "line L, column C: " and what is wrong with the value there.
    [[nodiscard]] Fault FaultAt(const std::string &path, const std::string &what) const;

private:
    [[nodiscard]] std::optional<Fault> Parse();
    [[nodiscard]] Fault FaultAt(std::size_t offset, const std::string &what) const;
    [[nodiscard]] const nlohmann::json &At(const std::string &path) const;

    std::string mText;
    nlohmann::json mRoot;
    std::map<std::string, std::size_t> mOffsets; // a member's is that of its name
    std::optional<Fault> mMalformed;
};

// Whether a text may stand for a name: at most 255 bytes, no control characters.
[[nodiscard]] bool IsPlainText(std::string_view text);

} // namespace configd
