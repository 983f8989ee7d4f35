#include "browser/vex_browser.h"
#include "formats/browse_document.h"
#include "scripted_engine.h"

#include <array>
#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

using formats::ComposeBrowseDocument;

// A reader of the browse list while the list is written repeatedly.

namespace {

constexpr const char *kFile = "/var/www/discovery/browse.json";
constexpr int kWrites = 1000;
// A change is written when it is the eleventh after the last write.
constexpr int kChangesAWrite = 11;

// Lists of very different lengths, in turn; each contains its number.
formats::SSDPDeviceMap List(int number)
{
    formats::SSDPDeviceMap list;
    for (int device = 0; device <= (number * 37) % 101; ++device) {
        list["usn-" + std::to_string(device)].hostName =
            std::to_string(number) + "-" + std::to_string(device);
    }
    return list;
}

// The file's text, read after one open; nothing if it cannot be opened.
std::string ReadOnce()
{
    const int descriptor = open(kFile, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return {};
    }
    std::string text;
    std::array<char, 4096> piece{}; // several reads for most lists
    ssize_t length = 0;
    while ((length = read(descriptor, piece.data(), piece.size())) > 0) {
        text.append(piece.data(), static_cast<std::size_t>(length));
    }
    close(descriptor);
    return text;
}

} // namespace

TEST(BrowserReader, SeesOnlyWholeListsThroughAThousandWrites)
{
    test::ScriptedEngine engine;
    VEXBrowser browser(&engine);
    engine.AwaitIdle(); // after the write of the empty list
    std::set<std::string> readings;
    std::atomic<int> count{0};
    std::atomic<bool> over{false};
    std::thread reader([&] {
        while (!over) {
            readings.insert(ReadOnce());
            ++count;
        }
    });
    std::set<std::string> written{"[]"};
    for (int number = 1; number <= kWrites; ++number) {
        const formats::SSDPDeviceMap list = List(number);
        written.insert(ComposeBrowseDocument(list));
        for (int change = 0; change < kChangesAWrite; ++change) {
            engine.Change(list);
        }
        EXPECT_EQ(ReadOnce(), ComposeBrowseDocument(list)) << number;
        for (const int before = count; count == before;) {
            std::this_thread::yield(); // the reader reads between two writes, even if it is slow
        }
    }
    over = true;
    reader.join();
    engine.End();
    browser.Stop(vexbase::kInfinite);
    for (const std::string &reading : readings) {
        EXPECT_EQ(written.count(reading), 1U) << reading;
    }
    EXPECT_EQ(unlink(kFile), 0);
}
