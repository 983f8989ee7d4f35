// Part of beacond in the coverage build alone: the daemon ends by a signal, and
// then nothing else would write the counters of what was executed.

#include <csignal>

extern "C" void __gcov_dump();

namespace {

// Not a thing to do in a signal handler, if a hung daemon were worse than a
// failed measurement. The signal takes its usual course when the handler is left.
void WriteCounters(int number)
{
    __gcov_dump();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

[[maybe_unused]] const bool kInstalled = [] {
    std::signal(SIGINT, WriteCounters);
    std::signal(SIGTERM, WriteCounters);
    return true;
}();

} // namespace
