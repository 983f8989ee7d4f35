// Part of beacond and of the test programs, only in the coverage build. Replaces _exit
// (ld's --wrap), by which a blocked daemon and children of the tests end: writes the
// coverage counters first.

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
