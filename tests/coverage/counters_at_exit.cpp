// Part of beacond and of the test programs, only in the coverage build. Replaces _exit, by
// means of ld's --wrap, and writes the coverage counters first. A blocked daemon and children
// of the tests end with _exit.

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
