#pragma once

#include "configd/http_message.h"
#include "configd/settings.h"

namespace configd {

// Answers, and carries out, a request. Returns nothing for one that opens a stream
// of events, and the parameters to watch.
[[nodiscard]] std::optional<Reply> Respond(const Request &request, Settings &settings,
                                           std::vector<Parameter> &parameters);

} // namespace configd
