#include "configd/api.h"

namespace configd {
namespace {

Reply Outcome(const std::optional<Refusal> &refusal, const std::string &value)
{
    return refusal ? ErrorReply(refusal->status, refusal->error) : Reply{200, value, {}};
}

Reply WrongMethod(const std::string &allow)
{
    Reply reply = ErrorReply(405, "the method is not allowed here");
    reply.allow = allow;
    return reply;
}

} // namespace

Reply ErrorReply(unsigned int status, const std::string &error)
{
    // A message may name a file, whose name need not be UTF-8.
    return {status, "{\"error\":" + JsonString(error) + '}', {}};
}

Reply Respond(std::string_view method, std::string_view path, std::string_view body,
              Settings &settings)
{
    const Values &values = settings.Current();
    if (path == "/api/v1/system") {
        if (method == "GET") {
            return {200, values.systemConfig, {}};
        }
        return method == "PATCH" ? Outcome(settings.PatchSystem(body), values.systemConfig)
                                 : WrongMethod("GET, PATCH");
    }
    if (path == "/api/v1/network/devices") {
        if (method == "GET") {
            return {200, values.netDeviceList, {}};
        }
        return method == "PUT" ? Outcome(settings.PutDevices(body), values.netDeviceList)
                               : WrongMethod("GET, PUT");
    }
    return path == kWatchPath ? WrongMethod("GET") : ErrorReply(404, "there is nothing here");
}

} // namespace configd
