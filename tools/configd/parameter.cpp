#include "configd/parameter.h"

#include <algorithm>
#include <utility>

namespace configd {
namespace {

std::optional<Parameter> ReadParameter(std::string_view number)
{
    for (const Parameter parameter : {Parameter::NetDeviceList, Parameter::SystemConfig}) {
        if (number == std::to_string(static_cast<int>(parameter))) {
            return parameter;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<Fault> ReadParameters(std::string_view list, std::vector<Parameter> &parameters)
{
    if (list.empty()) {
        return "params is missing or empty";
    }
    std::vector<Parameter> read;
    for (bool more = true; more;) {
        const std::size_t comma = list.find(',');
        const auto parameter = ReadParameter(list.substr(0, comma));
        if (!parameter) {
            return "params has an unknown number; 24 and 19 are known";
        }
        if (std::find(read.begin(), read.end(), *parameter) == read.end()) {
            read.push_back(*parameter);
        }
        more = comma != std::string_view::npos;
        list.remove_prefix(more ? comma + 1 : list.size());
    }
    parameters = std::move(read);
    return std::nullopt;
}

} // namespace configd
