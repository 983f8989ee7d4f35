#include "configd/options.h"

#include "configd/exit_status.h"

#include <array>
#include <charconv>
#include <getopt.h>
#include <iostream>
#include <linux/if.h>
#include <string_view>

namespace configd {
namespace {

constexpr const char *kUsage =
    "usage: beacon-configd [--state FILE] [--devices FILE] [--interface NAME] [--port N]\n"
    "  --state FILE      store the host name and the SSDP switch in FILE\n"
    "                    (default: /var/lib/beacon-configd/system.json)\n"
    "  --devices FILE    let clients set the network devices, and store them in FILE\n"
    "                    (default: report the kernel's interface)\n"
    "  --interface NAME  report this network interface (default: net0)\n"
    "  --port N          listen on this TCP port of 127.0.0.1 (default: 8080)\n"
    "  --help            show this text\n"
    "  --version         show the version\n";

bool ReadPort(std::string_view text, std::uint16_t &port)
{
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, port);
    return result.ec == std::errc() && result.ptr == end && port != 0;
}

// The kernel's rule for the names of interfaces (dev_valid_name).
bool IsInterfaceName(const std::string &name)
{
    return !name.empty() && name.size() < IFNAMSIZ &&
           name.find_first_of("/: \t\r\n\v\f") == std::string::npos && name != "." && name != "..";
}

bool Take(int option, const std::string &value, Options &options)
{
    switch (option) {
    case 's':
        options.stateFile = value;
        return !value.empty();
    case 'd':
        options.devicesFile = value;
        return !value.empty();
    case 'i':
        options.interface = value;
        return IsInterfaceName(value);
    default:
        return ReadPort(value, options.port);
    }
}

int WrongUsage(const std::string &what)
{
    std::cerr << what << kUsage;
    return kWrongUsage;
}

} // namespace

std::optional<int> ReadOptions(int argc, char **argv, Options &options)
{
    static const std::array<option, 7> kLong{{{"state", required_argument, nullptr, 's'},
                                              {"devices", required_argument, nullptr, 'd'},
                                              {"interface", required_argument, nullptr, 'i'},
                                              {"port", required_argument, nullptr, 'p'},
                                              {"help", no_argument, nullptr, 'h'},
                                              {"version", no_argument, nullptr, 'v'},
                                              {nullptr, 0, nullptr, 0}}};
    int which = 0;
    int found = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
    while ((found = getopt_long(argc, argv, "", kLong.data(), &which)) != -1) {
        if (found == 'h') {
            std::cout << kUsage;
            return 0;
        }
        if (found == 'v') {
            std::cout << "beacon-configd " BEACOND_VERSION "\n";
            return 0;
        }
        if (found == '?') {
            return WrongUsage(""); // getopt has printed the error
        }
        if (!Take(found, optarg, options)) {
            return WrongUsage(std::string("beacon-configd: invalid --") +
                              kLong.at(static_cast<std::size_t>(which)).name + " \"" + optarg +
                              "\"\n");
        }
    }
    if (optind < argc) {
        return WrongUsage(std::string("beacon-configd: unexpected argument \"") + argv[optind] +
                          "\"\n");
    }
    return std::nullopt;
}

} // namespace configd
