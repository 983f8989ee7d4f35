#include "beaconctl/status_text.h"

#include "beaconctl/terminal_text.h"
#include "formats/utf8.h"
#include "vexbase/vex_text.h"

#include <array>
#include <nlohmann/json.hpp>

namespace beaconctl {
namespace {

using nlohmann::json;

// More than any text with a host name that the configuration service accepts.
constexpr std::size_t kLongestText = 500; // columns

constexpr std::array<const char *, 4> kMarks{"ok", "note", "?", "FAULT"};
constexpr std::array<const char *, 4> kStates{"ok", "note", "unknown", "fault"};
constexpr std::array<const char *, 3> kHealth{"healthy", "degraded", "not running"};

template <typename Words, typename Enumerator>
const char *Word(const Words &words, Enumerator value)
{
    return words.at(static_cast<std::size_t>(value));
}

std::string Safe(const std::string &text)
{
    return Shorten(SafeText(text), kLongestText);
}

std::string Padded(std::string text, std::size_t width)
{
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

} // namespace

std::string StatusText(const StatusReport &report)
{
    constexpr std::size_t kMarkWidth = 7;
    constexpr std::size_t kCheckWidth = 16;
    std::string text =
        vexbase::Concat({"beacond on this device: ", Word(kHealth, report.health), "\n\n"});
    for (const Finding &finding : report.findings) {
        vexbase::Append(text, {Padded(Word(kMarks, finding.severity), kMarkWidth),
                               Padded(finding.check, kCheckWidth), Safe(finding.text), "\n"});
        if (!finding.advice.empty()) {
            vexbase::Append(text, {std::string(kMarkWidth + kCheckWidth, ' '), "-> ",
                                   Safe(finding.advice), "\n"});
        }
    }
    return text;
}

std::string StatusJson(const StatusReport &report)
{
    json checks = json::array();
    for (const Finding &finding : report.findings) {
        json check{{"check", finding.check},
                   {"state", Word(kStates, finding.severity)},
                   {"text", formats::ReplaceInvalidUtf8(finding.text)}};
        if (!finding.advice.empty()) {
            check["advice"] = formats::ReplaceInvalidUtf8(finding.advice);
        }
        checks.push_back(std::move(check));
    }
    const json object{{"status", Word(kHealth, report.health)}, {"checks", std::move(checks)}};
    return SafeJson(object.dump()) + '\n';
}

} // namespace beaconctl
