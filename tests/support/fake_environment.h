#pragma once

#include "ssdp/ssdp_environment.h"
#include "ssdp/web_root_files.h"
#include "support/addresses.h"
#include "vexbase/vex_text.h"

#include <arpa/inet.h>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test {

// Description documents in memory.
class FakeFiles final : public ssdp::DescriptionFiles
{
public:
    explicit FakeFiles(std::vector<std::string> &sharedLog) : log(sharedLog) {}

    std::uint32_t GetFileNumber() override { return numbersLeft ? numbers.GetFileNumber() : 0; }
    void ReturnFileNumber(std::string_view descriptionFileName) override
    {
        log.push_back("return " + std::string(descriptionFileName));
        numbers.ReturnFileNumber(descriptionFileName);
    }
    bool Write(const std::string &path, std::string_view document) override
    {
        log.push_back("document " + path);
        if (writable) {
            documents[path] = document;
        }
        return writable;
    }
    std::optional<ssdp::ServedDocument> Read(std::string_view name) override
    {
        ++reads;
        const auto found = documents.find("/var/www/html" + std::string(name));
        if (found == documents.end()) {
            return std::nullopt;
        }
        return ssdp::ServedDocument{found->second.c_str(), found->second.size()};
    }

    bool numbersLeft = true;
    bool writable = true;
    int reads = 0;
    std::map<std::string, std::string> documents; // by path
    ssdp::DescriptionFileNumbers numbers;
    std::vector<std::string> &log; // see FakeEnvironment
};

// The environment of the unit tests, fuzz targets and benchmarks that run the protocol core
// without a network. It records the datagrams that the core sends and the lines that it
// reports.
class FakeEnvironment final : public ssdp::SSDPEnvironment
{
public:
    // One datagram that the core sent. to is "multicast" or "address:port".
    struct Sent
    {
        std::string to;
        std::string text;

        bool operator==(const Sent &other) const { return to == other.to && text == other.text; }
    };

    void Multicast(std::string_view datagram) override { NoteSent("multicast", datagram); }
    bool SendTo(const sockaddr_in &peer, std::string_view datagram,
                ssdp::Urgency /*urgency*/) override
    {
        if (!room) {
            return false;
        }
        char address[INET_ADDRSTRLEN] = "";
        inet_ntop(peer.sin_family, &peer.sin_addr, address, sizeof address);
        NoteSent(std::string(address) + ":" + std::to_string(ntohs(peer.sin_port)), datagram);
        return true;
    }
    // Returns `random` each time. If `seeded` is set, returns the next number of a sequence.
    std::uint32_t Random() override
    {
        if (seeded) {
            // The factors of the C standard's example (7.22.2): the numbers differ enough.
            random = random * 1103515245U + 12345U;
            return (random >> 1U) & 0x7FFFFFFFU;
        }
        return random;
    }
    void ReportFault(std::initializer_list<std::string_view> pieces) override
    {
        faults.push_back(vexbase::Concat(pieces));
    }
    FakeFiles &Files() override { return files; }

    std::vector<Sent> TakeSent() { return std::exchange(sent, {}); }
    std::vector<std::string> TakeFaults() { return std::exchange(faults, {}); }

    std::vector<Sent> sent;
    std::vector<std::string> faults;
    // The datagrams, the calls of Write and the returned file numbers, in order:
    // "send TO TEXT", "document PATH" or "return PATH".
    std::vector<std::string> log;
    FakeFiles files{log};
    bool room = true;         // whether the send buffer has room
    bool seeded = false;      // whether random is a seed
    std::uint32_t random = 5; // the number that is drawn

private:
    void NoteSent(const std::string &to, std::string_view text)
    {
        sent.push_back({to, std::string(text)});
        log.push_back(vexbase::Concat({"send ", to, " ", text}));
    }
};

} // namespace test
