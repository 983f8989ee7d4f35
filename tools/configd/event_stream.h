#pragma once

#include "configd/parameter.h"

namespace configd {

// The current value of each parameter, as JSON on one line.
struct Values
{
    std::string systemConfig;
    std::string netDeviceList;

    [[nodiscard]] const std::string &Of(Parameter parameter) const;
};

// An event of a text/event-stream.
[[nodiscard]] std::string EventText(Parameter parameter, const std::string &json);

// What one watcher has still to be sent: first the value of each parameter it
// named, in that order, then each change. It remembers what was sent, not what
// changed, so it stays as small for a watcher that does not read as for one
// that does, and such a one gets the latest values when it reads on.
// Knows no socket; owned by one thread.
class EventStream
{
public:
    explicit EventStream(const std::vector<Parameter> &parameters);

    // Has a comment line sent, unless an event goes out anyway: the sign of life.
    void AddComment() { mComment = true; }

    // Copies the next bytes to send, at most size of them; 0 when all was sent.
    [[nodiscard]] std::size_t Read(const Values &values, char *buffer, std::size_t size);

private:
    struct Watched
    {
        Parameter parameter;
        std::optional<std::string> sent; // the value sent last
    };

    void Compose(const Values &values);

    std::vector<Watched> mWatched;
    bool mComment = false;
    std::string mText;   // being sent
    std::size_t mAt = 0; // how much of it was
};

} // namespace configd
