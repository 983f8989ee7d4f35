#pragma once

#include "configd/http_message.h"
#include "configd/settings.h"

namespace configd {

// Carries out a request and returns the answer. Returns no answer for a request that
// opens a stream of events, but sets the parameters to watch. Call it on the thread
// that owns settings; it waits for the storage if the request changes a file.
[[nodiscard]] std::optional<Reply> Respond(const Request &request, Settings &settings,
                                           std::vector<Parameter> &parameters);

} // namespace configd
