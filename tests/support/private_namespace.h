#pragma once

#include "support/addresses.h"

#include <cstdint>
#include <string>

// A private network and a private file tree for a test program. Tests can therefore use the
// real ports, addresses and paths, and several programs can run at the same time.
//
// The program runs on a host with the loopback and the interface net0, 192.0.2.10/24. A
// second host, the peer, is at the other end of net0's cable: interface peer0,
// 192.0.2.20/24. /var is a memory file system that has only the empty folders www/html and
// www/discovery. All of this disappears with the process.
namespace test {

// Makes the namespaces; ends the program with status 1 if the system refuses.
// REQUIRES: no thread has been started.
void EnterPrivateNamespaces();

// Runs a shell command on this host (or on the peer). Throws std::runtime_error if it
// fails.
void OnHost(const std::string &command);
void OnPeer(const std::string &command);

// Moves the calling process to the program's host (or to the peer). For child processes:
// the test process itself stays on the program's host. Throws if EnterPrivateNamespaces has
// not been called.
void MoveToHost();
void MoveToPeer();

// A UDP socket of the peer host, bound to an address (empty: any) and a port (0: any free
// one). The destructor closes it.
class PeerSocket
{
public:
    explicit PeerSocket(std::uint16_t port = 0, const std::string &address = "");
    ~PeerSocket();
    PeerSocket(const PeerSocket &) = delete;
    PeerSocket &operator=(const PeerSocket &) = delete;

    void JoinMulticast(const std::string &group = "239.255.255.250");
    void SendTo(const std::string &datagram, const std::string &address, std::uint16_t port);
    // The next datagram; empty if none comes within timeoutMs milliseconds.
    std::string Receive(int timeoutMs = 10000);
    // The next datagram that contains a text; others are skipped. Empty if none comes within
    // timeoutMs milliseconds.
    std::string ReceiveContaining(const std::string &text, int timeoutMs = 20000);
    [[nodiscard]] std::uint16_t Port() const;

private:
    int mDescriptor = -1;
};

} // namespace test
