#include "configd/system_config.h"

namespace configd {
namespace {

using nlohmann::json;

constexpr const char *kHostName = "hostName";
constexpr const char *kSsdpEnable = "ssdpEnable";

enum class Null { Refused, Removes };

std::optional<Fault> Check(const JsonDocument &document, Null null)
{
    if (auto fault = document.ExpectNoOther("", {kHostName, kSsdpEnable})) {
        return fault;
    }
    for (const auto &member : document.Root().items()) {
        if (member.value().is_null() && null == Null::Removes) {
            continue;
        }
        std::string text;
        bool flag = false;
        auto fault = member.key() == kHostName ? document.ReadText("/" + member.key(), text)
                                               : document.ReadBool("/" + member.key(), flag);
        if (fault) {
            return fault;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<Fault> ReadSystemConfig(std::string_view text, json &config)
{
    const JsonDocument document(text);
    if (document.Malformed()) {
        return document.Malformed();
    }
    if (auto fault = Check(document, Null::Refused)) {
        return fault;
    }
    config = document.Root();
    return std::nullopt;
}

std::optional<Fault> PatchSystemConfig(std::string_view patch, json &config)
{
    const JsonDocument document(patch);
    if (document.Malformed()) {
        return document.Malformed();
    }
    if (auto fault = Check(document, Null::Removes)) {
        return fault;
    }
    config.merge_patch(document.Root());
    return std::nullopt;
}

json FactorySystemConfig(const std::string &hostName)
{
    const json factory{{kHostName, hostName}, {kSsdpEnable, true}};
    // Through the text, so that the name meets the conditions of any other one.
    json config{{kSsdpEnable, true}};
    const auto fault =
        ReadSystemConfig(factory.dump(-1, ' ', false, json::error_handler_t::replace), config);
    static_cast<void>(fault); // then the name stays away
    return config;
}

} // namespace configd
