#include "configd/event_stream.h"

namespace configd {

const std::string &Values::Of(Parameter parameter) const
{
    return parameter == Parameter::SystemConfig ? systemConfig : netDeviceList;
}

std::string EventText(Parameter parameter, const std::string &json)
{
    return "event: " + std::to_string(static_cast<int>(parameter)) + "\ndata: " + json + "\n\n";
}

EventStream::EventStream(const std::vector<Parameter> &parameters)
{
    for (const Parameter parameter : parameters) {
        mWatched.push_back({parameter, std::nullopt});
    }
}

std::size_t EventStream::Read(const Values &values, char *buffer, std::size_t size)
{
    if (mAt == mText.size()) {
        Compose(values);
    }
    const std::size_t copied = mText.copy(buffer, size, mAt);
    mAt += copied;
    return copied;
}

void EventStream::Compose(const Values &values)
{
    mText.clear();
    mAt = 0;
    for (Watched &watched : mWatched) {
        const std::string &value = values.Of(watched.parameter);
        if (watched.sent != value) {
            mText += EventText(watched.parameter, value);
            watched.sent = value;
        }
    }
    if (mText.empty() && mComment) {
        mText = ":\n";
    }
    mComment = false;
}

} // namespace configd
