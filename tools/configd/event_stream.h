#pragma once

#include "configd/parameter.h"

#include <memory>

namespace configd {

// Value is the current value of a parameter. Owned by one thread.
class Value
{
public:
    // REQUIRES: json has no line break.
    Value(Parameter parameter, const std::string &json);

    [[nodiscard]] std::string Json() const;
    // The value as an event of a text/event-stream. All streams share this text.
    [[nodiscard]] const std::shared_ptr<const std::string> &Event() const { return mEvent; }

private:
    std::shared_ptr<const std::string> mEvent;
    std::size_t mBegin; // the position of the JSON in mEvent
};

// The current value of each parameter.
struct Values
{
    Value systemConfig;
    Value netDeviceList;

    [[nodiscard]] const Value &Of(Parameter parameter) const;
};

// EventStream composes the events for one watcher: first the value of each watched
// parameter, in the order of the request, then each change. A watcher that reads more
// slowly than values change receives only the newest value. The stream keeps the event
// sent last for each parameter; all streams share these texts. Knows no socket. Owned
// by one thread.
class EventStream
{
public:
    explicit EventStream(const std::vector<Parameter> &parameters);

    // The next Read returns a comment line as a heartbeat, unless an event is waiting.
    void AddHeartbeat() { mHeartbeat = true; }

    // The next bytes to send, at most size. Empty if everything was sent.
    [[nodiscard]] std::string Read(const Values &values, std::size_t size);

private:
    using Text = std::shared_ptr<const std::string>;

    struct Watched
    {
        Parameter parameter;
        Text sent; // the event sent last; null at first
    };

    // Chooses the next text to send. Returns false if there is none.
    [[nodiscard]] bool Begin(const Values &values);

    std::vector<Watched> mWatched;
    bool mHeartbeat = false;
    Text mText;          // the text that is being sent; null if there is none
    std::size_t mAt = 0; // the bytes of mText that were sent
};

} // namespace configd
