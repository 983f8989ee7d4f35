#pragma once

#include "support/scripted_server.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

namespace test {

// A configuration service on its real address, for one client. It answers the first watch
// with the given values, and sends others when the test asks for it. The parameters are
// 24, the system's settings, and 19, the network devices.
class ConfigService
{
public:
    // system and devices are JSON texts; an empty one is not sent.
    ConfigService(const std::string &system, const std::string &devices)
    {
        if (!system.empty()) {
            Send(24, system);
        }
        if (!devices.empty()) {
            Send(19, devices);
        }
        mServer.Start({[this](Connection &connection) { Serve(connection); }});
    }
    ~ConfigService()
    {
        {
            const std::lock_guard<std::mutex> held(mMutex);
            mOver = true;
            mChanged.notify_all();
        }
        mServer.Stop();
    }
    ConfigService(const ConfigService &) = delete;
    ConfigService &operator=(const ConfigService &) = delete;

    // Sends a parameter's value now, or when the client has connected.
    void Send(int param, const std::string &json)
    {
        const std::lock_guard<std::mutex> held(mMutex);
        mEvents.push_back(Event(std::to_string(param), json));
        mChanged.notify_all();
    }

    // The client's request; empty before it arrives.
    std::string Request()
    {
        const std::lock_guard<std::mutex> held(mMutex);
        return mRequest;
    }

private:
    void Serve(Connection &connection)
    {
        const std::string request = connection.ReadRequest();
        connection.Send(kEventStream);
        std::unique_lock<std::mutex> held(mMutex);
        mRequest = request;
        while (true) {
            mChanged.wait(held, [this] { return mOver || !mEvents.empty(); });
            if (mOver) {
                return;
            }
            connection.Send(mEvents.front());
            mEvents.pop_front();
        }
    }

    ScriptedServer mServer{8080};
    std::mutex mMutex;
    std::condition_variable mChanged;
    // Guarded by mMutex:
    std::deque<std::string> mEvents;
    std::string mRequest;
    bool mOver = false;
};

// The JSON of a network device.
inline std::string Device(const std::string &state, bool connected, const std::string &address)
{
    return R"({"name":"net0","activeParams":{"address":")" + address +
           R"("},"status":{"interfaceSetupState":")" + state + R"(","connected":)" +
           (connected ? "true" : "false") + "}}";
}

} // namespace test
