// The Avahi client library's watches and time-outs on the Qt event loop, by any sequence of
// calls, also from inside callbacks: a freed object is not called back, only a watched
// descriptor is reported, each past deadline is reported once, and no future one is reported. The
// memory is in proportion to the calls.

#include "check.h"
#include "mdns/avahi_qt_poll.h"
#include "memory.h"

#include <QCoreApplication>
#include <array>
#include <ctime>
#include <functional>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kObjects = 16; // of each kind, so that each is used often

// Avahi's information about an object. It outlives the object, so a late callback is detected.
struct Watch
{
    AvahiWatch *object = nullptr; // null after it was freed
    int fd = -1;
    // Whether it was ever watched: a repeated watch_update adds a second notifier, and the first
    // one reports until the watch is freed.
    bool watched = false;
    std::function<void()> act;
};

struct Timeout
{
    AvahiTimeout *object = nullptr;
    bool due = false; // it has a past deadline that was not reported yet
    std::function<void()> act;
};

std::size_t g_callbacks = 0;

void WatchReports(AvahiWatch *object, int fd, AvahiWatchEvent event, void *userdata)
{
    const auto *watch = static_cast<Watch *>(userdata);
    FUZZ_CHECK(watch->object == object && watch->fd == fd && watch->watched);
    FUZZ_CHECK(event == AVAHI_WATCH_IN && object->reportedEvent() == event);
    ++g_callbacks;
    watch->act();
}

void TimeoutReports(AvahiTimeout *object, void *userdata)
{
    auto *timeout = static_cast<Timeout *>(userdata);
    FUZZ_CHECK(timeout->object == object && timeout->due);
    timeout->due = false;
    ++g_callbacks;
    timeout->act();
}

class Player
{
public:
    explicit Player(std::string_view input) : mInput(input)
    {
        for (std::size_t i = 0; i < mDescriptors.size(); i += 2) {
            FUZZ_CHECK(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, &mDescriptors[i]) == 0);
        }
    }
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;
    ~Player()
    {
        for (const auto &watch : mWatches) {
            Free(*watch);
        }
        for (const auto &timeout : mTimeouts) {
            Free(*timeout);
        }
        for (const int descriptor : mDescriptors) {
            close(descriptor);
        }
    }

    void Play()
    {
        while (!mInput.empty()) {
            Step();
        }
        Spin();
        Spin(); // a deadline that was set in a callback is handled in the next pass
        for (const auto &timeout : mTimeouts) {
            FUZZ_CHECK(timeout->object == nullptr || !timeout->due);
        }
    }

private:
    unsigned int Next()
    {
        if (mInput.empty()) {
            return 0;
        }
        const auto byte = static_cast<unsigned char>(mInput.front());
        mInput.remove_prefix(1);
        return byte;
    }

    void Step()
    {
        if (Next() % 3 == 0) {
            Spin();
        } else {
            Call();
        }
    }

    // One call of Avahi, or an event at a descriptor.
    void Call()
    {
        switch (Next() % 7) {
        case 0:
            AddWatch();
            break;
        case 1:
            UpdateWatch();
            break;
        case 2:
            Free(*Any(mWatches, Next()));
            break;
        case 3:
            AddTimeout();
            break;
        case 4:
            UpdateTimeout();
            break;
        case 5:
            Free(*Any(mTimeouts, Next()));
            break;
        default:
            Transfer();
            break;
        }
    }

    // A pass of the event loop. Each notifier and each deadline costs at most one callback.
    void Spin()
    {
        g_callbacks = 0;
        QCoreApplication::processEvents();
        FUZZ_CHECK(g_callbacks <= mRequests);
    }

    template <typename Object>
    static Object *Any(std::vector<std::unique_ptr<Object>> &objects, unsigned int number)
    {
        if (objects.empty()) {
            objects.push_back(std::make_unique<Object>());
        }
        return objects[number % objects.size()].get();
    }

    AvahiWatchEvent Request(Watch &watch)
    {
        const unsigned int events = Next() % 4;
        const unsigned int in = events & 1U;
        const unsigned int out = events >> 1U;
        mRequests += in + out;
        watch.watched = watch.watched || events != 0;
        return static_cast<AvahiWatchEvent>(in * AVAHI_WATCH_IN | out * AVAHI_WATCH_OUT);
    }

    void AddWatch()
    {
        if (mWatches.size() >= kObjects) {
            return;
        }
        mWatches.push_back(std::make_unique<Watch>());
        Watch &watch = *mWatches.back();
        watch.fd = mDescriptors[Next() % mDescriptors.size()];
        watch.act = [this] { Call(); };
        const AvahiWatchEvent events = Request(watch);
        watch.object = mPoll->watch_new(mPoll, watch.fd, events, WatchReports, &watch);
    }

    void UpdateWatch()
    {
        Watch &watch = *Any(mWatches, Next());
        if (watch.object != nullptr) {
            mPoll->watch_update(watch.object, Request(watch));
        }
    }

    void Free(Watch &watch) const
    {
        if (watch.object != nullptr) {
            mPoll->watch_free(watch.object);
            watch.object = nullptr;
        }
    }

    // A deadline that is past, or that is not reached in this run; null for none.
    const timeval *Deadline(Timeout &timeout)
    {
        constexpr time_t kFarAhead = 86400;
        const time_t now = time(nullptr);
        const unsigned int kind = Next() % 6;
        const std::array<time_t, 5> seconds{0, 1, now - 1, now + kFarAhead, now + 100 * kFarAhead};
        timeout.due = kind < 3;
        mRequests += kind < 3 ? 1 : 0;
        if (kind == seconds.size()) {
            return nullptr;
        }
        mDeadline = {seconds[kind], 0};
        return &mDeadline;
    }

    void AddTimeout()
    {
        if (mTimeouts.size() >= kObjects) {
            return;
        }
        mTimeouts.push_back(std::make_unique<Timeout>());
        Timeout &timeout = *mTimeouts.back();
        timeout.act = [this] { Call(); };
        const timeval *deadline = Deadline(timeout);
        timeout.object = mPoll->timeout_new(mPoll, deadline, TimeoutReports, &timeout);
    }

    void UpdateTimeout()
    {
        Timeout &timeout = *Any(mTimeouts, Next());
        if (timeout.object != nullptr) {
            mPoll->timeout_update(timeout.object, Deadline(timeout));
        }
    }

    void Free(Timeout &timeout) const
    {
        if (timeout.object != nullptr) {
            mPoll->timeout_free(timeout.object);
            timeout.object = nullptr;
        }
    }

    // Makes a descriptor readable, or reads what arrived at it.
    void Transfer()
    {
        const unsigned int number = Next();
        const int descriptor = mDescriptors[number % mDescriptors.size()];
        char byte = 0;
        const ssize_t done =
            number > 127 ? write(descriptor, &byte, 1) : read(descriptor, &byte, 1);
        static_cast<void>(done); // a full or an empty socket changes nothing
    }

    const AvahiPoll *const mPoll = avahi_qt_poll_get();
    std::string_view mInput;
    std::array<int, 4> mDescriptors{};
    std::vector<std::unique_ptr<Watch>> mWatches;
    std::vector<std::unique_ptr<Timeout>> mTimeouts;
    timeval mDeadline{};
    std::size_t mRequests = 0; // notifiers and past deadlines
};

// Qt warns of a second notifier for a descriptor.
void DropMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/,
                 const QString & /*message*/)
{
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argc = 1;
    static std::array<char, 2> name{'f', 0};
    static char *argv = name.data();
    static const QCoreApplication application(argc, &argv);
    static const QtMessageHandler before = qInstallMessageHandler(DropMessage);
    static_cast<void>(before);
    const MemoryCount memory;
    Player(Text(data, size)).Play();
    // Each call takes two bytes or more, and makes two notifiers at most: objects of Qt, each
    // with a connection.
    FUZZ_CHECK(memory.Allocated() <= 4096 + 512 * size);
    return 0;
}
