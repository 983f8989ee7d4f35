#include "configd/event_stream.h"

#include <algorithm>
#include <utility>

namespace configd {
namespace {

constexpr std::string_view kEnd = "\n\n";

} // namespace

Value::Value(Parameter parameter, const std::string &json)
{
    std::string event = "event: " + std::to_string(static_cast<int>(parameter)) + "\ndata: ";
    mBegin = event.size();
    event.reserve(event.size() + json.size() + kEnd.size());
    event += json;
    event += kEnd;
    mEvent = std::make_shared<const std::string>(std::move(event));
}

std::string Value::Json() const
{
    return mEvent->substr(mBegin, mEvent->size() - mBegin - kEnd.size());
}

const Value &Values::Of(Parameter parameter) const
{
    return parameter == Parameter::SystemConfig ? systemConfig : netDeviceList;
}

EventStream::EventStream(const std::vector<Parameter> &parameters)
{
    for (const Parameter parameter : parameters) {
        mWatched.push_back({parameter, nullptr});
    }
}

std::string EventStream::Read(const Values &values, std::size_t size)
{
    std::string read;
    while (read.size() < size && (mText != nullptr || Begin(values))) {
        const std::size_t length = std::min(size - read.size(), mText->size() - mAt);
        read.append(*mText, mAt, length);
        mAt += length;
        if (mAt == mText->size()) {
            mText = nullptr;
        }
    }
    return read;
}

bool EventStream::Begin(const Values &values)
{
    static const auto comment = std::make_shared<const std::string>(":\n");
    mAt = 0;
    for (Watched &watched : mWatched) {
        const Text &event = values.Of(watched.parameter).Event();
        if (watched.sent == nullptr || (watched.sent != event && *watched.sent != *event)) {
            watched.sent = event;
            mText = event;
            mHeartbeat = false;
            return true;
        }
    }
    if (std::exchange(mHeartbeat, false)) {
        mText = comment;
    }
    return mText != nullptr;
}

} // namespace configd
