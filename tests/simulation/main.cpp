#include "simulation/report.h"
#include "simulation/scenario.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// Plays scenarios: see ./simulate.

namespace {

using simulation::Outcome;
using simulation::Scenario;

struct Options
{
    std::uint64_t firstSeed = 1;
    std::uint64_t lastSeed = 1;
    unsigned jobs = 1;
    simulation::Variation variation;
    std::string figures; // file
    std::vector<std::string> files;
};

bool ReadNumber(const std::string &text, std::uint64_t &number)
{
    char *end = nullptr;
    number = std::strtoull(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0';
}

bool ReadSeeds(const std::string &text, Options &options)
{
    const std::size_t dash = text.find('-');
    if (dash == std::string::npos) {
        return ReadNumber(text, options.firstSeed) && ReadNumber(text, options.lastSeed);
    }
    return ReadNumber(text.substr(0, dash), options.firstSeed) &&
           ReadNumber(text.substr(dash + 1), options.lastSeed) &&
           options.firstSeed <= options.lastSeed;
}

std::optional<Options> ReadOptions(const std::vector<std::string> &arguments)
{
    Options options;
    for (std::size_t place = 0; place < arguments.size(); ++place) {
        const std::string &argument = arguments[place];
        if (argument.compare(0, 2, "--") != 0) {
            options.files.push_back(argument);
            continue;
        }
        if (argument == "--shifted-draws") {
            options.variation.shiftedDraws = true;
            continue;
        }
        if (argument == "--even-ticks") {
            options.variation.evenTicks = true;
            continue;
        }
        if (++place == arguments.size()) {
            return std::nullopt;
        }
        std::uint64_t jobs = 0;
        const std::string &value = arguments[place];
        if (argument == "--figures") {
            options.figures = value;
        } else if (argument == "--jobs" && ReadNumber(value, jobs) && jobs > 0) {
            options.jobs = static_cast<unsigned>(jobs);
        } else if (argument != "--seeds" || !ReadSeeds(value, options)) {
            return std::nullopt;
        }
    }
    return options.files.empty() ? std::nullopt : std::make_optional(options);
}

bool ReadScenarios(const std::vector<std::string> &files, std::vector<Scenario> &scenarios)
{
    for (const std::string &file : files) {
        std::ifstream stream(file);
        if (!stream) {
            std::cerr << file << ": cannot be read\n";
            return false;
        }
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        const std::size_t slash = file.rfind('/') + 1;
        std::string error;
        scenarios.push_back(
            simulation::ReadScenario(file.substr(slash, file.rfind('.') - slash), text, error));
        if (!error.empty()) {
            std::cerr << file << ": " << error << '\n';
            return false;
        }
    }
    return true;
}

// Plays every scenario with every seed, on several threads.
class Series
{
public:
    Series(const Options &options, const std::vector<Scenario> &scenarios)
        : mOptions(options),
          mScenarios(scenarios),
          mCount(scenarios.size() * (options.lastSeed - options.firstSeed + 1))
    {
    }

    // Returns whether no rule was broken.
    bool Play()
    {
        std::vector<std::thread> threads;
        for (unsigned job = 0; job < mOptions.jobs; ++job) {
            threads.emplace_back([this] { PlayNext(); });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        std::cout << mCount << " runs, " << mFailed << " with violations\n";
        return mFailed == 0;
    }

private:
    void PlayNext()
    {
        const std::uint64_t seeds = mOptions.lastSeed - mOptions.firstSeed + 1;
        for (std::uint64_t place = mNext++; place < mCount; place = mNext++) {
            const Scenario &scenario = mScenarios[static_cast<std::size_t>(place / seeds)];
            const std::uint64_t seed = mOptions.firstSeed + place % seeds;
            const auto start = std::chrono::steady_clock::now();
            const Outcome outcome = PlayScenario(scenario, seed, mOptions.variation);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            const std::lock_guard<std::mutex> hold(mMutex);
            Report(scenario, seed, outcome, took.count());
        }
    }

    void Report(const Scenario &scenario, std::uint64_t seed, const Outcome &outcome, double took)
    {
        std::printf("%s, seed %llu: trace %016llx, %llu violations, %.0f s in %.2f s\n",
                    scenario.name.c_str(), static_cast<unsigned long long>(seed),
                    static_cast<unsigned long long>(outcome.trace),
                    static_cast<unsigned long long>(outcome.violations),
                    simulation::SecondsOf(scenario.end), took);
        std::cout << outcome.report << std::flush;
        mFailed += outcome.violations == 0 ? 0 : 1;
        if (!mOptions.figures.empty()) {
            std::ofstream(mOptions.figures) << simulation::ComposeFigures(outcome.figures);
        }
    }

    const Options &mOptions;
    const std::vector<Scenario> &mScenarios;
    const std::uint64_t mCount;
    std::atomic<std::uint64_t> mNext{0};
    std::mutex mMutex;
    std::uint64_t mFailed = 0;
};

} // namespace

int main(int count, char **values)
{
    const auto options = ReadOptions({values + 1, values + count});
    if (!options) {
        std::cerr << "usage: beacon-simulate [--seeds FIRST-LAST] [--jobs N] [--figures FILE] "
                     "[--shifted-draws] [--even-ticks] SCENARIO...\n";
        return 2;
    }
    std::vector<Scenario> scenarios;
    if (!ReadScenarios(options->files, scenarios)) {
        return 2;
    }
    return Series(*options, scenarios).Play() ? 0 : 1;
}
