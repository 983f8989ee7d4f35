#pragma once

#include "configd/settings.h"

namespace configd {

// Where a stream of events is asked for, with GET.
constexpr const char *kWatchPath = "/api/v1/watch";

// The answer to a request, whose body is always JSON.
struct Reply
{
    unsigned int status = 0;
    std::string body;
    std::string allow; // the methods of the path, told with status 405
};

// A fault as clients get it, {"error":"..."}.
[[nodiscard]] Reply ErrorReply(unsigned int status, const std::string &error);

// Answers, and carries out, every request but GET of kWatchPath. A path is
// without its query.
[[nodiscard]] Reply Respond(std::string_view method, std::string_view path, std::string_view body,
                            Settings &settings);

} // namespace configd
