#pragma once

#include "formats/ssdp_headers.h"

#include <string_view>

// Whether a datagram of another device may cause a request for a document: an ssdp:alive and an
// answer to a search may, a document and all others may not.
inline bool MayCauseRequest(std::string_view datagram)
{
    switch (formats::ClassifyMethod(datagram)) {
    case formats::Method::Notify:
        return formats::ScanHeaders(datagram).kind == formats::NTSKind::Alive;
    case formats::Method::Http:
        return datagram.find("CONTENT-LANGUAGE") == std::string_view::npos;
    default:
        return false;
    }
}
