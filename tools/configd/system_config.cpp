#include "configd/system_config.h"

#include "configd/name.h"

#include <nlohmann/json.hpp>

namespace configd {
namespace {

using Kind = JsonValue::Kind;

enum class Null { Refused, Removes };

std::optional<Fault> TakeHostName(const JsonValue &value, std::optional<std::string> &hostName)
{
    if (value.kind != Kind::Text || !IsName(value.text)) {
        return std::string("must be ") + kNameRule;
    }
    hostName = value.text;
    return std::nullopt;
}

std::optional<Fault> TakeFlag(const JsonValue &value, std::optional<bool> &flag)
{
    flag = value.flag;
    return ExpectKind(value, Kind::Flag);
}

template <typename Member>
std::optional<Fault> Remove(std::optional<Member> &member)
{
    member.reset();
    return std::nullopt;
}

std::optional<Fault> Merge(std::string_view text, Null null, SystemConfig &config)
{
    SystemConfig merged = config;
    auto fault = ReadJson(text, [&](const std::string &path, const JsonValue &value) {
        const bool removes = value.kind == Kind::Null && null == Null::Removes;
        if (value.kind == Kind::ObjectEnd) {
            return std::optional<Fault>();
        }
        if (path.empty()) {
            return ExpectKind(value, Kind::Object);
        }
        if (path == "/hostName") {
            return removes ? Remove(merged.hostName) : TakeHostName(value, merged.hostName);
        }
        if (path == "/ssdpEnable") {
            return removes ? Remove(merged.ssdpEnable) : TakeFlag(value, merged.ssdpEnable);
        }
        return std::optional<Fault>("unknown member");
    });
    if (!fault) {
        config = std::move(merged);
    }
    return fault;
}

nlohmann::json Json(const SystemConfig &config)
{
    auto object = nlohmann::json::object();
    if (config.hostName) {
        object["hostName"] = *config.hostName;
    }
    if (config.ssdpEnable) {
        object["ssdpEnable"] = *config.ssdpEnable;
    }
    return object;
}

} // namespace

std::optional<Fault> ReadSystemConfig(std::string_view text, SystemConfig &config)
{
    SystemConfig read;
    auto fault = Merge(text, Null::Refused, read);
    if (!fault) {
        config = std::move(read);
    }
    return fault;
}

std::optional<Fault> PatchSystemConfig(std::string_view patch, SystemConfig &config)
{
    return Merge(patch, Null::Removes, config);
}

SystemConfig FactorySystemConfig(const std::string &hostName)
{
    SystemConfig config;
    config.ssdpEnable = true;
    // JsonString replaces bytes that are not UTF-8.
    const auto fault = PatchSystemConfig("{\"hostName\":" + JsonString(hostName) + '}', config);
    static_cast<void>(fault); // on a fault the name stays absent
    return config;
}

std::string SystemConfigText(const SystemConfig &config)
{
    return Json(config).dump();
}

std::string StoredSystemConfigText(const SystemConfig &config)
{
    constexpr int kIndent = 4; // because administrators read and edit the file
    return Json(config).dump(kIndent) + '\n';
}

} // namespace configd
