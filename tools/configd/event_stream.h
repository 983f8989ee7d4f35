#pragma once

#include "configd/parameter.h"

#include <memory>

namespace configd {

// A parameter's current value.
class Value
{
public:
    Value(Parameter parameter, const std::string &json); // on one line

    [[nodiscard]] std::string Json() const;
    // Its event of a text/event-stream; all streams share the text.
    [[nodiscard]] const std::shared_ptr<const std::string> &Event() const { return mEvent; }

private:
    std::shared_ptr<const std::string> mEvent;
    std::size_t mBegin; // of the JSON in it
};

// The current value of each parameter.
struct Values
{
    Value systemConfig;
    Value netDeviceList;

    [[nodiscard]] const Value &Of(Parameter parameter) const;
};

// The text that one watcher has still to receive: first the value of each
// parameter it named, in that order, then changes. A watcher that reads more slowly
// than values change receives the newest value only. A stream keeps the texts that
// it sent last, which it shares with other streams, and nothing else that grows.
// Knows no socket; owned by one thread.
class EventStream
{
public:
    explicit EventStream(const std::vector<Parameter> &parameters);

    // Has a comment line sent, unless an event goes out anyway: the sign of life.
    void AddComment() { mComment = true; }

    // The next bytes to send, at most size of them; empty when all was sent.
    [[nodiscard]] std::string Read(const Values &values, std::size_t size);

private:
    using Text = std::shared_ptr<const std::string>;

    struct Watched
    {
        Parameter parameter;
        Text sent; // the event sent last
    };

    // Whether there is another text to send, which it makes the current one.
    [[nodiscard]] bool Begin(const Values &values);

    std::vector<Watched> mWatched;
    bool mComment = false;
    Text mText;          // being sent
    std::size_t mAt = 0; // how much of it was sent
};

} // namespace configd
