#include "ssdp/concat.h"
#include "ssdp/description_document.h"
#include "ssdp/get_exchange.h"
#include "ssdp/output_line.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_file_io.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <utility>
#include <vector>

using ssdp::WriteFault;

// The exchange of description documents as single datagrams. Requests and
// responses wait a random time, so that many devices that answer one
// announcement do not answer together.

namespace {

// The text of a file in the web root, up to its first NUL, as a response
// datagram. Empty when the file cannot be read, or fits no datagram.
std::string ResponseOfFile(const std::string &path)
{
    VEXFileIO file;
    if (file.Open(path, VEXFileIO::kRead, VEXFileIO::kBuffered) != kVEXSuccess) {
        return {};
    }
    const std::uint64_t size = file.SizeBySeeking();
    if (size > ssdp::kMaxDatagram) {
        return {};
    }
    std::vector<char> text(static_cast<std::size_t>(size) + 1, '\0');
    static_cast<void>(file.Read(text.data(), static_cast<std::uint32_t>(size)));
    std::string response = ssdp::ComposeGETResponse(text.data(), static_cast<std::size_t>(size));
    return response.size() <= ssdp::kMaxDatagram ? response : std::string();
}

// Whether a text is a dotted quad that a peer can have.
bool ReadPeerAddress(const std::string &text, in_addr &address)
{
    return text != "0.0.0.0" && text.find('\0') == std::string::npos &&
           inet_pton(AF_INET, text.c_str(), &address) == 1;
}

} // namespace

std::uint32_t VEX_SSDP::DrawDelay()
{
    return static_cast<std::uint32_t>(random() % (3 * static_cast<long>(mPollInterval)));
}

void VEX_SSDP::SendGETRequest(std::string_view url)
{
    std::string address;
    if (!ssdp::AddressOfLocation(url, address)) {
        WriteFault({"SendGETRequest", ": Unable to find the http string"});
        return;
    }
    GETMessageType request;
    request.destination.sin_family = AF_INET;
    request.destination.sin_port = htons(ssdp::kPort);
    if (!ReadPeerAddress(address, request.destination.sin_addr)) {
        WriteFault({"SendGETRequest", ": Invalid IP address: \"", address, "\""});
        return;
    }
    request.message = ssdp::ComposeGETRequest(url, address);
    request.delay = DrawDelay();
    mRequests.Add(std::move(request));
}

void VEX_SSDP::SendGETResponse(std::string_view request, const sockaddr_in &sender)
{
    const std::string_view name = ssdp::RequestedName(request.substr(0, request.find('\0')));
    if (name.empty()) {
        return;
    }
    GETMessageType response;
    response.message = ResponseOfFile(ssdp::Concat({ssdp::kWebRoot, name}));
    response.destination = sender;
    if (response.message.empty()) {
        return;
    }
    const VEXLockGuard hold(mLock);
    if (!IsClosing()) {
        response.delay = DrawDelay();
        mResponses.Add(std::move(response));
    }
}

void VEX_SSDP::ParseHTTPResponse(std::string_view data, const sockaddr_in &sender)
{
    if (IsClosing() || mRegistry.IsOwnAddress(sender.sin_addr)) {
        return;
    }
    if (data.find("CONTENT-LANGUAGE") != std::string_view::npos) {
        ProcessDescriptionResponse(data);
        return;
    }
    std::string_view usn;
    switch (ssdp::ReadSearchResponseUSN(data, usn)) {
    case ssdp::SearchResponse::NoUuid:
        WriteFault({"ParseHTTPResponse", ": Unable to find the \"uuid\""});
        return;
    case ssdp::SearchResponse::NoLineEnd:
        WriteFault({"ParseHTTPResponse", ": Unable to retrieve the USN"});
        return;
    case ssdp::SearchResponse::Read:
        break;
    }
    const std::string_view location = ssdp::ReadSearchResponseLocation(data);
    if (!mRegistry.Knows(usn) && !location.empty() &&
        usn.find(ssdp::kVexMark) != std::string_view::npos) {
        SendGETRequest(location);
    }
}

void VEX_SSDP::ProcessDescriptionResponse(std::string_view text)
{
    if (auto device = ssdp::ReadDescription(text)) {
        mRegistry.EnterDescription(std::move(*device));
    }
}
