// Part of beacond and of the test programs in the coverage build alone: stands in for
// _exit (ld's --wrap), by which a daemon that is held up and children of the tests
// end, and writes the counters first.

extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status);
}

void __wrap__exit(int status)
{
    __gcov_dump();
    __real__exit(status);
}
