#pragma once

#include "configd/http_server.h"
#include "configd/listening_socket.h"
#include "configd/program.h"
#include "support/live_child.h"
#include "support/private_namespace.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace test {

// Makes the service's folder for each test. system is the first system.json; without it
// the device has its factory settings.
class ConfigFolder : public testing::Test
{
protected:
    explicit ConfigFolder(const std::string &system = "")
    {
        OnHost("mkdir -p /var/lib/beacon-configd");
        if (!system.empty()) {
            std::ofstream("/var/lib/beacon-configd/system.json") << system;
        }
    }
    ~ConfigFolder() override { OnHost("rm -r /var/lib/beacon-configd"); }
};

// A function that runs beacon-configd with a command line, for LiveChild.
inline std::function<int()> Program(const std::vector<std::string> &arguments)
{
    return [arguments] {
        std::vector<std::string> words{"beacon-configd"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char *> argv;
        for (std::string &word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        return configd::RunProgram(static_cast<int>(words.size()), argv.data());
    };
}

// The service. It answers on port 8080 when the constructor returns.
class Service
{
public:
    explicit Service(const std::vector<std::string> &arguments = {}) : mChild(Program(arguments))
    {
        if (const auto started = mChild.WaitForOut(kStarted); !started) {
            throw std::runtime_error(started.message());
        }
    }

    // Sends a signal and returns the exit status.
    int Stop(int signal = SIGTERM)
    {
        mChild.Signal(signal);
        return mChild.WaitForEnd();
    }

    LiveChild &Child() { return mChild; }

    static constexpr const char *kStarted = "beacon-configd: listening on 127.0.0.1:8080\n";

private:
    LiveChild mChild;
};

// Only the HTTP server, on port 8080, with the given periods.
class Server
{
public:
    explicit Server(const configd::Periods &periods, const std::string &devicesFile = "")
        : mChild([periods, devicesFile] { return Run(periods, devicesFile); })
    {
        if (const auto started = mChild.WaitForOut("listening\n"); !started) {
            throw std::runtime_error(started.message());
        }
    }

private:
    static int Run(const configd::Periods &periods, const std::string &devicesFile)
    {
        configd::Settings settings("/var/lib/beacon-configd/system.json", devicesFile);
        configd::HttpServer server(settings, configd::OpenListeningSocket(8080), periods);
        std::cout << "listening" << std::endl;
        while (true) {
            pollfd waiting{server.Descriptor(), POLLIN, 0};
            poll(&waiting, 1, server.WaitMs());
            server.Run();
        }
        return 0;
    }

    LiveChild mChild;
};

} // namespace test
