// Sends searches to one host, one after another, and measures the times of the answers:
//
//   bench-searcher ADDRESS COUNT
//
// Each search is sent after the answer to the previous one, or after one second. The first
// line of output has the median, the 99th and the 99.9th percentile and the maximum, in
// microseconds, and the number of searches without an answer. The second line is a
// histogram: the number of answers below 16 microseconds, from there to 32, and so on.

#include "multicast_socket.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Microseconds from a search to its answer, negative when there is none.
double SearchOnce(int descriptor, const sockaddr_in &host)
{
    static const std::string kSearch =
        "M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:upnp:rootdevice\r\n"
        "MAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n";
    std::array<char, 2048> buffer{};
    const auto start = Clock::now();
    sendto(descriptor, kSearch.data(), kSearch.size(), 0, reinterpret_cast<const sockaddr *>(&host),
           sizeof host);
    pollfd waiting{descriptor, POLLIN, 0};
    if (poll(&waiting, 1, 1000) != 1 || recv(descriptor, buffer.data(), buffer.size(), 0) <= 0) {
        return -1;
    }
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

void PrintHistogram(const std::vector<double> &sorted)
{
    auto rest = sorted.begin();
    for (double limit = 16; rest != sorted.end(); limit *= 2) {
        const auto next = std::lower_bound(rest, sorted.end(), limit);
        std::printf("<%.0f:%td ", limit, next - rest);
        rest = next;
    }
    std::puts("");
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: bench-searcher ADDRESS COUNT\n", stderr);
        return 2;
    }
    const sockaddr_in host = bench::Address(argv[1], bench::kPort);
    const int descriptor = bench::OpenSender();
    std::vector<double> times;
    unsigned long lost = 0;
    for (long left = std::strtol(argv[2], nullptr, 10); left > 0; --left) {
        const double time = SearchOnce(descriptor, host);
        if (time < 0) {
            ++lost;
        } else {
            times.push_back(time);
        }
    }
    if (times.empty()) {
        std::fputs("no answer\n", stderr);
        return 1;
    }
    std::sort(times.begin(), times.end());
    std::printf("%.2f %.2f %.2f %.2f %lu\n", times[times.size() / 2],
                times[times.size() * 99 / 100], times[times.size() * 999 / 1000], times.back(),
                lost);
    PrintHistogram(times);
    return 0;
}
