// Part of the test programs in the coverage build alone: stands in for _exit, by
// which children of the tests end (ld's --wrap), and writes the counters first.

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
