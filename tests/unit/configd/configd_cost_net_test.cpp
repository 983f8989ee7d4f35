// The cost of requests with hostile bodies: in memory, which this program counts by
// its own operator new, and in processor time. It runs in its own namespaces and writes to
// its own /var.

#include "configd/api.h"

#include "support/private_namespace.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <malloc.h>
#include <new>

namespace {

struct Count
{
    std::size_t live = 0;  // bytes in use
    std::size_t peak = 0;  // the maximum of live
    std::size_t calls = 0; // of operator new
    std::size_t total = 0; // bytes allocated so far
    std::int64_t time = 0; // see ThreadTime
};
Count gCount;

} // namespace

void *operator new(std::size_t size)
{
    void *memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    const std::size_t taken = malloc_usable_size(memory);
    gCount.live += taken;
    gCount.peak = std::max(gCount.peak, gCount.live);
    gCount.total += taken;
    ++gCount.calls;
    return memory;
}

// The C++ library also has this operator. Its default would take memory from a sanitizer's
// allocator, and the operator delete below would return the memory to another allocator.
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void operator delete(void *memory) noexcept
{
    gCount.live -= memory == nullptr ? 0 : malloc_usable_size(memory);
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

namespace configd {
namespace {

// A kind of body. `make` returns one of at most `size` bytes.
struct Kind
{
    const char *name;
    std::function<std::string(std::size_t size)> make;
};

std::string Repeat(const std::string &piece, std::size_t size)
{
    std::string text;
    while (text.size() + piece.size() <= size) {
        text += piece;
    }
    return text;
}

std::string DeviceList(const std::string &name, std::size_t size)
{
    const std::string device = R"({"name":")" + name + R"(","activeParams":{"address":""},)" +
                               R"("status":{"interfaceSetupState":"Idle","connected":true}},)";
    std::string list = '[' + Repeat(device, size - 1);
    list.back() = ']';
    return list;
}

std::string Around(const std::string &before, const std::string &piece, const std::string &after,
                   std::size_t size)
{
    return before + Repeat(piece, size - before.size() - after.size()) + after;
}

const std::vector<Kind> kKinds{
    {"arrays in arrays", [](std::size_t size) { return Repeat("[", size); }},
    {"objects in objects", [](std::size_t size) { return Repeat("{\"a\":", size); }},
    {"objects in an array in objects",
     [](std::size_t size) { return Repeat("[{\"activeParams\":", size); }},
    {"many numbers", [](std::size_t size) { return Around("[", "0,", "0]", size); }},
    {"many objects", [](std::size_t size) { return Around("[", "{},", "{}]", size); }},
    {"many texts", [](std::size_t size) { return Around("[", "\"\",", "\"\"]", size); }},
    {"one member many times",
     [](std::size_t size) {
         return Around("{", "\"hostName\":\"a\",", "\"hostName\":\"a\"}", size);
     }},
    {"a long name", [](std::size_t size) { return Around("{\"", "k", "\":1}", size); }},
    {"a long name without its end", [](std::size_t size) { return Around("{\"", "k", "", size); }},
    {"a long host name",
     [](std::size_t size) { return Around("{\"hostName\":\"", "k", "\"}", size); }},
    {"a long host name of escapes",
     [](std::size_t size) { return Around("{\"hostName\":\"", "\\u0001", "\"}", size); }},
    {"a long host name, not UTF-8",
     [](std::size_t size) { return Around("{\"hostName\":\"", "k", "\xFF\"}", size); }},
    {"a long number", [](std::size_t size) { return Repeat("1", size); }},
    {"a long fraction",
     [](std::size_t size) { return Around("{\"hostName\":1.", "1", "}", size); }},
    {"a long word", [](std::size_t size) { return Around("{\"ssdpEnable\":", "t", "}", size); }},
    {"spaces", [](std::size_t size) { return Repeat(" ", size); }},
    {"line feeds", [](std::size_t size) { return Repeat("\n", size); }},
    {"line feeds between braces",
     [](std::size_t size) { return Repeat('{' + std::string(511, '\n'), size); }},
    {"not JSON", [](std::size_t size) { return Repeat("\x80", size); }},
    {"zeros", [](std::size_t size) { return std::string(size, '\0'); }},
    {"devices", [](std::size_t size) { return DeviceList("n", size); }},
    {"devices with long names",
     [](std::size_t size) { return DeviceList(std::string(63, 'n'), size); }},
    {"devices with names of escapes",
     [](std::size_t size) { return DeviceList(Repeat("\\u0061", 378), size); }}};

// Processor time of this thread, in nanoseconds.
std::int64_t ThreadTime()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// The cost of a request, from the first byte of its body to the last byte of the answer.
Count Cost(const std::string &method, const std::string &path, const std::string &body)
{
    test::OnHost("rm -rf /var/settings && mkdir /var/settings");
    Settings settings("/var/settings/system.json", "/var/settings/devices.json");
    RequestReader reader;
    reader.Feed(method + ' ' + path + " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n");
    gCount.peak = gCount.live;
    const Count before = gCount;
    const std::int64_t begin = ThreadTime();
    {
        for (std::size_t at = 0; at < body.size(); at += 16384) {
            reader.Feed(std::string_view(body).substr(at, 16384));
        }
        const auto request = reader.TakeRequest();
        std::vector<Parameter> parameters;
        const auto reply = Respond(*request, settings, parameters);
        EXPECT_FALSE(ReplyText(*reply, false, false, 0).empty());
    }
    return {gCount.live - before.live, gCount.peak - before.live, gCount.calls - before.calls,
            gCount.total - before.total, ThreadTime() - begin};
}

// The smallest of several measurements: other programs can only lengthen a measurement.
std::int64_t LeastTime(const std::string &method, const std::string &path, const std::string &body)
{
    std::int64_t least = Cost(method, path, body).time;
    for (int i = 0; i < 4; ++i) {
        least = std::min(least, Cost(method, path, body).time);
    }
    return least;
}

class RequestCost : public testing::TestWithParam<Kind>
{
protected:
    ~RequestCost() override { test::OnHost("rm -rf /var/settings"); }
};

const std::vector<std::pair<std::string, std::string>> kRequests{
    {"PATCH", "/api/v1/system"}, {"PUT", "/api/v1/network/devices"}};

TEST_P(RequestCost, NeedsAtMostTenTimesTheBodyInMemory)
{
    for (const auto &[method, path] : kRequests) {
        for (const std::size_t size : {8192U, 20000U, 32768U, 65536U}) {
            const std::string body = GetParam().make(size);
            EXPECT_LE(Cost(method, path, body).peak, 10 * body.size()) << method << ' ' << size;
        }
    }
}

// A body of twice the size costs about twice as many allocations and bytes; buffers that
// double their size add some.
TEST_P(RequestCost, AllocatesLinearlyInTheBody)
{
    constexpr std::size_t kFixed = 100; // more than the allocations of an empty request
    for (const auto &[method, path] : kRequests) {
        const Count small = Cost(method, path, GetParam().make(30000));
        const Count large = Cost(method, path, GetParam().make(60000));
        EXPECT_LE(large.calls, 2.2 * static_cast<double>(small.calls) + kFixed) << method;
        EXPECT_LE(large.total, 3 * small.total) << method;
    }
}

// Eight times the body takes about eight times as long; if the time were quadratic, up to 64
// times.
TEST_P(RequestCost, TakesTimeLinearInTheBody)
{
    for (const auto &[method, path] : kRequests) {
        const std::int64_t small = LeastTime(method, path, GetParam().make(8192));
        EXPECT_LT(LeastTime(method, path, GetParam().make(65536)), 24 * small) << method;
    }
}

INSTANTIATE_TEST_SUITE_P(Bodies, RequestCost, testing::ValuesIn(kKinds), [](const auto &kind) {
    std::string name = kind.param.name;
    const auto isOther = [](char c) { return std::isalpha(c) == 0; };
    name.erase(std::remove_if(name.begin(), name.end(), isOther), name.end());
    return name;
});

} // namespace
} // namespace configd
