#include "simulation/scenario.h"

#include "simulation/stranger.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <utility>

namespace simulation {
namespace {

using Words = std::vector<std::string>;

// The values in a sentence of a scenario. In the form of a sentence, # stands for a number, $
// for a word, and @ for some machines (see ReadChoice).
struct Found
{
    std::vector<double> numbers;
    std::string word;
    Choice machines;
};

struct ActForm
{
    const char *form;
    Verb verb;
};

// "At TIME MACHINES ..."; the last number of two or more is the length of the action, the second
// one of three its count.
constexpr std::array<ActForm, 15> kActForms{{
    {"at # s @ start within # s", Verb::Start},
    {"at # s @ start", Verb::Start},
    {"at # s @ start and are published at once", Verb::StartPublished},
    {"at # s @ are killed", Verb::Kill},
    {"at # s @ are renamed", Verb::Rename},
    {"at # s @ get another address", Verb::Move},
    {"at # s @ are switched off", Verb::SwitchOff},
    {"at # s @ are switched on", Verb::SwitchOn},
    {"at # s @ lose the link for # s", Verb::LoseLink},
    {"at # s @ are split off for # s", Verb::Split},
    {"at # s @ stall for # s", Verb::Stall},
    {"at # s @ add a silent zr1 for # s", Verb::AddOther},
    {"at # s @ add device # for # s", Verb::AddOther},
    {"at # s a stranger play $ for # s", Verb::Play},
    {"at # s # changes happen within # s", Verb::Change},
}};

struct ExpectationForm
{
    const char *form;
    Micros Expectations::*member;
};

constexpr std::array<ExpectationForm, 8> kExpectationForms{{
    {"every list is complete and correct # s after the last change", &Expectations::complete},
    {"every list is complete except for former names # s after the last change",
     &Expectations::listed},
    {"a running device is missing from a list for at most # s", &Expectations::missing},
    {"a goodbye removes the device from every list within # s", &Expectations::goodbye},
    {"a silent device is removed within # s", &Expectations::silent},
    {"own services are announced at least every # s", &Expectations::announce},
    {"no document is sent in the last # s", &Expectations::quiet},
    {"the memory at the end is at most slightly larger than at # s", &Expectations::memory},
}};

// The words in lower case, without punctuation. Verbs are changed to the plural, and some words
// to another one, as kSame lists.
Words WordsOf(std::string_view line)
{
    static constexpr std::array<std::pair<const char *, const char *>, 10> kSame{
        {{"starts", "start"},
         {"gets", "get"},
         {"loses", "lose"},
         {"stalls", "stall"},
         {"adds", "add"},
         {"keeps", "keep"},
         {"plays", "play"},
         {"happens", "happen"},
         {"its", "the"},
         {"machine", "device"}}};
    Words words(1);
    for (const char each : line) {
        if (each == ' ') {
            words.emplace_back();
        } else if (each >= 'A' && each <= 'Z') {
            words.back() += static_cast<char>(each - 'A' + 'a');
        } else if (each != ',' && each != ':') {
            words.back() += each;
        }
    }
    if (!words.back().empty() && words.back().back() == '.') {
        words.back().pop_back();
    }
    for (std::string &word : words) {
        for (const auto &[variant, plain] : kSame) {
            word = word == variant ? plain : word;
        }
    }
    return words;
}

std::optional<double> NumberOf(const std::string &word)
{
    char *end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    return word.empty() || *end != '\0' || number < 0 ? std::nullopt : std::make_optional(number);
}

// Reads "all devices", "the killed devices", "device 3", "devices 3 to 5" or "3 devices", and
// sets `next` to the place of the word that follows.
std::optional<Choice> ReadChoice(const Words &words, std::size_t &next)
{
    const auto word = [&](std::size_t offset) {
        return next + offset < words.size() ? words[next + offset] : std::string();
    };
    const auto number = [&](std::size_t offset) {
        return static_cast<std::uint32_t>(NumberOf(word(offset)).value_or(0));
    };
    Choice choice;
    std::size_t taken = 2;
    if (word(0) == "the" && word(1) == "killed") {
        choice.kind = Choice::Kind::Killed;
        taken = 3;
    } else if (word(0) == "device") {
        choice = {Choice::Kind::Range, number(1), number(1)};
    } else if (word(0) == "devices") {
        choice = {Choice::Kind::Range, number(1), number(3)};
        taken = 4;
    } else if (NumberOf(word(0))) {
        choice = {Choice::Kind::Some, number(0), 0};
    } else if (word(0) != "all") {
        return std::nullopt;
    }
    next += taken;
    return choice;
}

std::optional<Found> Match(const Words &words, const char *form)
{
    Found found;
    std::size_t next = 0;
    for (const std::string &wanted : WordsOf(form)) {
        if (wanted == "@") {
            const auto machines = ReadChoice(words, next);
            if (!machines) {
                return std::nullopt;
            }
            found.machines = *machines;
            continue;
        }
        if (next == words.size()) {
            return std::nullopt;
        }
        const std::string &word = words[next++];
        if (wanted == "#") {
            const auto number = NumberOf(word);
            if (!number) {
                return std::nullopt;
            }
            found.numbers.push_back(*number);
        } else if (wanted == "$") {
            found.word = word;
        } else if (word != wanted && !(word == "is" && wanted == "are")) {
            return std::nullopt;
        }
    }
    return next == words.size() ? std::make_optional(found) : std::nullopt;
}

Micros MicrosOf(double seconds)
{
    return static_cast<Micros>(std::llround(seconds * static_cast<double>(kSecond)));
}

std::int64_t PerMillion(double percent)
{
    return std::llround(percent * 10'000);
}

bool ReadAct(const Words &words, Scenario &scenario)
{
    for (const auto &[form, verb] : kActForms) {
        const auto found = Match(words, form);
        if (!found) {
            continue;
        }
        const bool named = found->numbers.size() > 2;
        if ((verb == Verb::Play && FindBehaviour(found->word) == nullptr) ||
            (verb == Verb::AddOther && named && found->numbers[1] < 1)) {
            return false;
        }
        Act act;
        act.at = MicrosOf(found->numbers.front());
        act.verb = verb;
        act.machines = found->machines;
        act.length = found->numbers.size() > 1 ? MicrosOf(found->numbers.back()) : 0;
        act.count = named ? static_cast<std::uint32_t>(found->numbers[1]) : 0;
        act.attack = found->word;
        scenario.acts.push_back(act);
        return true;
    }
    return false;
}

bool ReadExpectation(const Words &words, Expectations &expects)
{
    for (const auto &[form, member] : kExpectationForms) {
        if (const auto found = Match(words, form)) {
            expects.*member = MicrosOf(found->numbers.front());
            return true;
        }
    }
    return false;
}

bool ReadLink(const Words &words, LinkSettings &link)
{
    if (const auto found = Match(words, "the link is $")) {
        const auto preset = LinkPreset(found->word);
        link = preset.value_or(link);
        return preset.has_value();
    }
    if (const auto found = Match(words, "the link loses # % of multicast in bursts of #")) {
        link.multicastLossPerMillion = PerMillion(found->numbers[0]);
        link.meanBurst = std::llround(found->numbers[1]);
        return link.meanBurst > 0;
    }
    const std::array<std::pair<const char *, std::int64_t LinkSettings::*>, 4> kShares{
        {{"the link loses # % of multicast", &LinkSettings::multicastLossPerMillion},
         {"the link loses # % of unicast", &LinkSettings::unicastLossPerMillion},
         {"the link duplicates # %", &LinkSettings::duplicatePerMillion},
         {"the link delays # % by up to 20 ms", &LinkSettings::reorderPerMillion}}};
    for (const auto &[form, member] : kShares) {
        if (const auto found = Match(words, form)) {
            link.*member = PerMillion(found->numbers.front());
            return true;
        }
    }
    return false;
}

bool ReadSetting(const Words &words, Scenario &scenario)
{
    const std::array<std::pair<const char *, std::uint32_t Scenario::*>, 5> kNumbers{
        {{"there are # devices", &Scenario::devices},
         {"the clocks of # devices wrap", &Scenario::wrapping},
         {"the devices share # processors", &Scenario::processors},
         {"only the last # devices keep a list", &Scenario::whole},
         {"the time is # s at the beginning", &Scenario::time}}};
    for (const auto &[form, member] : kNumbers) {
        if (const auto found = Match(words, form)) {
            scenario.*member = static_cast<std::uint32_t>(found->numbers.front());
            return scenario.*member > 0;
        }
    }
    if (const auto found = Match(words, "it ends at # s")) {
        scenario.end = MicrosOf(found->numbers.front());
        return true;
    }
    const bool ownSeeds = Match(words, "each device has a different seed for random()").has_value();
    const bool noZR1 = Match(words, "there is no zr1").has_value();
    const bool large =
        Match(words, "the receive buffers have the size that the package sets").has_value();
    scenario.largeBuffers = scenario.largeBuffers || large;
    scenario.ownSeeds = scenario.ownSeeds || ownSeeds;
    scenario.withoutZR1 = scenario.withoutZR1 || noZR1;
    return ownSeeds || noZR1 || large;
}

} // namespace

Scenario ReadScenario(std::string_view name, std::string_view text, std::string &error)
{
    Scenario scenario;
    scenario.name = name;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const Words words = WordsOf(line);
        if (!ReadAct(words, scenario) && !ReadExpectation(words, scenario.expects) &&
            !ReadLink(words, scenario.link) && !ReadSetting(words, scenario)) {
            error = std::string(line);
            return scenario;
        }
    }
    if (error.empty() && (scenario.devices == 0 || scenario.end == 0)) {
        error = "It must say how many devices there are, and when it ends.";
    }
    for (const Act &act : scenario.acts) {
        if (error.empty() && act.verb == Verb::AddOther && act.count > scenario.devices) {
            error = "There is no device " + std::to_string(act.count) + " to add.";
        }
    }
    return scenario;
}

} // namespace simulation
