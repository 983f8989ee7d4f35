#pragma once

#include <cstdint>
#include <initializer_list>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>

namespace ssdp {

// A description document as it was read from its file.
struct ServedDocument
{
    std::string text;      // up to the file's first NUL
    std::uint64_t bytes{}; // the size of the file
};

// The files of description documents: their numbers, writing and reading. A
// test's fake keeps them in memory.
class DescriptionFiles
{
public:
    DescriptionFiles() = default;
    virtual ~DescriptionFiles() = default;
    DescriptionFiles(const DescriptionFiles &) = delete;
    DescriptionFiles &operator=(const DescriptionFiles &) = delete;

    // Takes the smallest free number; returns 0 when none is free.
    [[nodiscard]] virtual std::uint32_t GetFileNumber() = 0;
    // Frees the number in a description file's name: the decimal digits after its
    // last "_". Ignores a name without a number, and a number that is not in use.
    virtual void ReturnFileNumber(std::string_view descriptionFileName) = 0;
    // Writes a document into its file, which is created or emptied first. Returns
    // false when the file cannot be opened. A full disk is not reported: the file
    // is cut short.
    [[nodiscard]] virtual bool Write(const std::string &path, std::string_view document) = 0;
    // Reads a document of the web root. name begins with its only "/". Returns nothing
    // when the file cannot be opened, or is larger than a datagram. Called without any
    // lock held.
    [[nodiscard]] virtual std::optional<ServedDocument> Read(std::string_view name) = 0;
};

// Requests are less urgent than answers: they leave more of the send buffer free.
enum class Urgency { Request, Answer };

// Everything that the protocol core needs from outside. The engine implements it
// with sockets, random() and files, a test with a fake. Only the core calls it, on
// the caller's thread and with the caller's lock held; but the engine itself calls
// DescriptionFiles::Read, without the lock. Nothing that the core calls waits, except
// for the file of a published document.
class SSDPEnvironment
{
public:
    SSDPEnvironment() = default;
    virtual ~SSDPEnvironment() = default;
    SSDPEnvironment(const SSDPEnvironment &) = delete;
    SSDPEnvironment &operator=(const SSDPEnvironment &) = delete;

    // Sends one datagram to the SSDP group. A datagram that cannot be sent is lost.
    virtual void Multicast(std::string_view datagram) = 0;
    // Sends one datagram to a peer. Returns false when the send buffer has no room
    // for it now. A datagram that fails for another reason is lost, as UDP may lose
    // any.
    [[nodiscard]] virtual bool SendTo(const sockaddr_in &peer, std::string_view datagram,
                                      Urgency urgency) = 0;
    // A random number from 0 to 2^31 - 1.
    [[nodiscard]] virtual std::uint32_t Random() = 0;
    // Keeps a line for standard error, joined from its pieces, without a newline at
    // its end.
    virtual void ReportFault(std::initializer_list<std::string_view> pieces) = 0;
    [[nodiscard]] virtual DescriptionFiles &Files() = 0;
};

} // namespace ssdp
