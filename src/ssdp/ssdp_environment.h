#pragma once

#include <cstddef>
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
    std::size_t bytes = 0; // the size of the file
};

// The files of description documents: their numbers, their writing, their
// reading. A fake keeps them in memory.
class DescriptionFiles
{
public:
    DescriptionFiles() = default;
    virtual ~DescriptionFiles() = default;
    DescriptionFiles(const DescriptionFiles &) = delete;
    DescriptionFiles &operator=(const DescriptionFiles &) = delete;

    // The smallest free number, which is in use from now on; 0 when all are.
    [[nodiscard]] virtual std::uint32_t GetFileNumber() = 0;
    // Frees the number in a description file's name: the decimal digits after its
    // last "_". A name without a number, or with one that is not in use, changes
    // nothing.
    virtual void ReturnFileNumber(std::string_view descriptionFileName) = 0;
    // Puts a document into its file, which is made or emptied. False when the
    // file cannot be opened. A full medium shows in the file alone.
    [[nodiscard]] virtual bool Write(const std::string &path, std::string_view document) = 0;
    // Reads a document of the web root; name begins with its only "/". Nothing when
    // it cannot be read, or is larger than a datagram. Called with no lock held.
    [[nodiscard]] virtual std::optional<ServedDocument> Read(std::string_view name) = 0;
};

// How much of the send buffer a datagram leaves free: requests more than answers.
enum class Urgency { Request, Answer };

// All that the protocol core needs of the world. The engine gives it sockets,
// random() and files; a test gives it a script. Called by the core only, on the
// caller's thread, with the caller's lock held: nothing here waits, but for the
// file of a published document.
class SSDPEnvironment
{
public:
    SSDPEnvironment() = default;
    virtual ~SSDPEnvironment() = default;
    SSDPEnvironment(const SSDPEnvironment &) = delete;
    SSDPEnvironment &operator=(const SSDPEnvironment &) = delete;

    // Sends one datagram to the SSDP group. One that cannot be sent is lost.
    virtual void Multicast(std::string_view datagram) = 0;
    // Sends one datagram to a peer. False when the send buffer has no room for
    // it now; a datagram that fails otherwise is lost, as any may be.
    [[nodiscard]] virtual bool SendTo(const sockaddr_in &peer, std::string_view datagram,
                                      Urgency urgency) = 0;
    // A random number from 0 to 2^31 - 1.
    [[nodiscard]] virtual std::uint32_t Random() = 0;
    // Notes a line for standard error, without its newline.
    virtual void TellFault(std::initializer_list<std::string_view> pieces) = 0;
    [[nodiscard]] virtual DescriptionFiles &Files() = 0;
};

} // namespace ssdp
