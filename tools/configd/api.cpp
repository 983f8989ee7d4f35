#include "configd/api.h"

namespace configd {
namespace {

Reply Outcome(const std::optional<Refusal> &refusal, const Value &value)
{
    return refusal ? ErrorReply(refusal->status, refusal->error) : Reply{200, value.Json(), {}};
}

Reply WrongMethod(const std::string &allow)
{
    Reply reply = ErrorReply(405, "the path does not have this method");
    reply.allow = allow;
    return reply;
}

Reply RespondSystem(const Request &request, Settings &settings)
{
    const Value &value = settings.Current().systemConfig;
    if (request.method == "GET") {
        return {200, value.Json(), {}};
    }
    return request.method == "PATCH" ? Outcome(settings.PatchSystem(request.body), value)
                                     : WrongMethod("GET, PATCH");
}

Reply RespondDevices(const Request &request, Settings &settings)
{
    const Value &value = settings.Current().netDeviceList;
    if (request.method == "GET") {
        return {200, value.Json(), {}};
    }
    return request.method == "PUT" ? Outcome(settings.PutDevices(request.body), value)
                                   : WrongMethod("GET, PUT");
}

std::optional<Reply> RespondWatch(const Request &request, std::vector<Parameter> &parameters)
{
    if (request.method != "GET") {
        return WrongMethod("GET");
    }
    // The query's other value, "system", names the watcher. Not needed.
    const auto fault = ReadParameters(QueryValue(request.query, "params"), parameters);
    return fault ? std::optional<Reply>(ErrorReply(400, *fault)) : std::nullopt;
}

} // namespace

std::optional<Reply> Respond(const Request &request, Settings &settings,
                             std::vector<Parameter> &parameters)
{
    if (!request.isLocal) {
        return ErrorReply(403, "Host must be 127.0.0.1 or localhost, and Origin must be absent");
    }
    if (request.path == "/api/v1/system") {
        return RespondSystem(request, settings);
    }
    if (request.path == "/api/v1/network/devices") {
        return RespondDevices(request, settings);
    }
    return request.path == "/api/v1/watch" ? RespondWatch(request, parameters)
                                           : ErrorReply(404, "no such path");
}

} // namespace configd
