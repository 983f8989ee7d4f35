#include "beaconctl/status_checks.h"

#include "product/product_id.h"
#include "vexbase/vex_text.h"
#include "wsconfig/configuration.h"

#include <algorithm>
#include <array>
#include <cstdio>

// The checks of what the daemon needs, and of the daemon itself.
namespace beaconctl {
namespace {

using vexbase::Concat;

constexpr std::size_t kLongestServiceName = 63; // of a DNS label (RFC 1035, 2.3.4)
constexpr const char *kNotRunning = "not checked: beacond does not run";

Finding Fine(const char *check, std::string text)
{
    return {check, Severity::Fine, std::move(text), ""};
}

Finding Unknown(const char *check, std::string text, std::string advice = "")
{
    return {check, Severity::Unknown, std::move(text), std::move(advice)};
}

Finding Fault(const char *check, std::string text, std::string advice)
{
    return {check, Severity::Fault, std::move(text), std::move(advice)};
}

std::string Joined(const std::vector<std::string> &texts)
{
    std::string joined;
    for (const std::string &text : texts) {
        joined += (joined.empty() ? "" : ", ") + text;
    }
    return joined;
}

std::string Quoted(const std::string &text)
{
    return '"' + text + '"';
}

std::string TimeText(std::time_t time)
{
    tm parts{};
    std::array<char, 32> text{};
    localtime_r(&time, &parts);
    text.at(std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts)) = '\0';
    return text.data();
}

std::string DaemonText(const Process &daemon)
{
    return Concat({"process ", std::to_string(daemon.pid), " of user ", daemon.userName, " since ",
                   TimeText(daemon.since)});
}

bool HasOneAddress(const Observations &seen)
{
    return seen.interface.addresses.size() == 1;
}

// The entry of this device itself: it may announce silent devices, too.
const Entry *OwnEntry(const Observations &seen)
{
    if (!seen.engine.announced || !HasOneAddress(seen)) {
        return nullptr;
    }
    const Entries &entries = seen.engine.announced->entries;
    const auto own = std::find_if(entries.begin(), entries.end(), [&seen](const Entry &entry) {
        return entry.address == seen.interface.addresses.front();
    });
    return own == entries.end() ? nullptr : &*own;
}

std::string ProductText(const product::ProductRow &row)
{
    std::array<char, 11> board{};
    std::snprintf(board.data(), board.size(), "0x%08x", static_cast<unsigned int>(row.board));
    return Concat({row.modelName, " (", row.productID, "), board ", board.data()});
}

template <typename Predicate>
const product::ProductRow *FindProduct(Predicate matches)
{
    const auto &table = product::kProductTable;
    const auto *row = std::find_if(table.begin(), table.end(), matches);
    return row == table.end() ? nullptr : row;
}

Finding UnknownProduct(std::string text)
{
    std::vector<std::string> known;
    known.reserve(product::kProductTable.size());
    for (const product::ProductRow &row : product::kProductTable) {
        known.emplace_back(row.productID);
    }
    return Fault("product", std::move(text),
                 "Write the product to /etc/product_id, or set PRODUCT_ID in "
                 "/etc/default/beacond, and restart beacond. Products: " +
                     Joined(known));
}

Finding JudgeProductID(const ProductID &product)
{
    if (product.known == ProductID::Known::NotAllowed) {
        return Unknown("product", "not visible for this user", "Run beaconctl status as root.");
    }
    if (product.text.empty()) {
        return UnknownProduct("no product is set: the device is an \"Unknown Model\"");
    }
    const auto *const row = FindProduct(
        [&product](const product::ProductRow &each) { return product.text == each.productID; });
    return row != nullptr ? Fine("product", ProductText(*row))
                          : UnknownProduct(Quoted(product.text) +
                                           " is not a product: the device is an \"Unknown Model\"");
}

// The length in bytes of the DNS-SD name that the daemon makes of a host name: its ASCII
// letters, digits and "-" from the first letter on.
std::size_t ServiceNameLength(const std::string &hostName)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto first = std::find_if(hostName.begin(), hostName.end(), isLetter);
    return static_cast<std::size_t>(std::count_if(first, hostName.end(), [&isLetter](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '-';
    }));
}

std::string ConfigurationText(const Configuration &seen)
{
    const auto text = [](const std::optional<bool> &flag, const char *yes, const char *no) {
        return !flag ? "not reported" : *flag ? yes : no;
    };
    return Concat({"name ", seen.hostName ? Quoted(*seen.hostName) : "not reported", ", SSDP ",
                   text(seen.ssdpEnable, "on", "off"), ", link ",
                   text(seen.connected, "up", "down"), ", setup of net0 ",
                   seen.setupState.value_or("not reported")});
}

Finding JudgeSilentEngine(const Observations &seen)
{
    constexpr const char *kCheck = "engine";
    if (std::any_of(seen.sockets.begin(), seen.sockets.end(),
                    [](const UdpSocket &socket) { return socket.ofDaemon; })) {
        return Fault(kCheck, "discovery runs, but not the diagnostic port: " + seen.engine.error,
                     "If another program has UDP port 49821 (ss -ulpn), stop it. Then restart "
                     "beacond.");
    }
    if (!HasOneAddress(seen)) {
        return Fault(kCheck, "discovery does not run on net0", "Mend the interface first.");
    }
    if (!seen.sockets.empty()) {
        return Fault(kCheck, "discovery does not run: another program has UDP port 1900",
                     "Stop that program (ss -ulpn), then restart beacond.");
    }
    return Fault(kCheck, "discovery does not run on net0",
                 "Restart beacond. Its messages have the reason: journalctl -u beacond");
}

} // namespace

bool Runs(const Observations &seen)
{
    return !seen.daemons.empty() || (!seen.seesProcesses && seen.engine.announced.has_value());
}

Finding JudgeDaemon(const Observations &seen)
{
    constexpr const char *kCheck = "daemon";
    if (seen.daemons.empty()) {
        return seen.seesProcesses
                   ? Fault(kCheck, "beacond does not run",
                           "Start it: systemctl start beacond, or /etc/init.d/beacond start. If it "
                           "has ended, its messages have the reason: journalctl -u beacond")
                   : Unknown(kCheck, "this user may not see the processes of others",
                             "Run beaconctl status as root.");
    }
    if (seen.daemons.size() == 1) {
        return Fine(kCheck, DaemonText(seen.daemons.front()));
    }
    std::vector<std::string> texts;
    std::transform(seen.daemons.begin(), seen.daemons.end(), std::back_inserter(texts), DaemonText);
    return Fault(kCheck,
                 Concat({std::to_string(seen.daemons.size()),
                         " beacond share the ports and the browse list: ", Joined(texts)}),
                 "Stop all but one. Before beacond -d, stop the service: systemctl stop beacond");
}

Finding JudgeInterface(const Observations &seen)
{
    constexpr const char *kCheck = "interface";
    const Interface &net0 = seen.interface;
    if (!net0.exists) {
        return Fault(kCheck, "there is no network interface net0",
                     "Name the network port net0, as in "
                     "/usr/share/doc/beacond/examples/10-net0.link.example, and restart.");
    }
    if (!net0.isUp) {
        return Fault(kCheck, "net0 is down", "Bring it up: ip link set net0 up");
    }
    if (net0.addresses.empty()) {
        return Fault(kCheck, "net0 has no IPv4 address",
                     "Give it one in the network configuration.");
    }
    if (net0.addresses.size() > 1) {
        return Fault(kCheck,
                     Concat({"net0 has ", std::to_string(net0.addresses.size()),
                             " IPv4 addresses: ", Joined(net0.addresses)}),
                     "Remove all but one: ip addr del ADDRESS/LENGTH dev net0");
    }
    if (!net0.hasLink) {
        return Fault(kCheck, "net0 has no link", "Check the cable and the switch.");
    }
    return Fine(kCheck, "net0 has the address " + net0.addresses.front());
}

// If the device is announced with a product, the announcement counts: the product file may have
// changed since the daemon's start.
Finding JudgeProduct(const Observations &seen)
{
    if (!Runs(seen)) {
        return Unknown("product", kNotRunning);
    }
    const Entry *const own = OwnEntry(seen);
    if (own == nullptr || own->product == "Unknown Model") {
        const Finding finding = JudgeProductID(seen.product);
        return own == nullptr || finding.severity == Severity::Fault
                   ? finding
                   : UnknownProduct("the device announces itself as an \"Unknown Model\"");
    }
    const auto *const row = FindProduct(
        [own](const product::ProductRow &each) { return own->product == each.modelName; });
    return row != nullptr ? Fine("product", ProductText(*row)) : Fine("product", own->product);
}

Finding JudgeConfiguration(const Observations &seen)
{
    constexpr const char *kCheck = "configuration";
    const Configuration &service = seen.configuration;
    if (!service.error.empty()) {
        return Fault(kCheck, "no configuration service on 127.0.0.1:8080: " + service.error,
                     "Start it: systemctl start beacon-configd.socket beacon-configd. Its "
                     "messages: journalctl -u beacon-configd");
    }
    std::string text = ConfigurationText(service);
    if (service.ssdpEnable == false) {
        return Fault(kCheck, text + ": others do not see this device by SSDP",
                     R"(Switch SSDP on: curl -X PATCH -d '{"ssdpEnable":true}' )"
                     "http://127.0.0.1:8080/api/v1/system");
    }
    if (ServiceNameLength(service.hostName.value_or("")) > kLongestServiceName) {
        return Fault(kCheck, text + ": the name is too long for DNS-SD, and beacond ends",
                     "Choose a name of at most 63 letters.");
    }
    if (service.connected == false) {
        return Fault(kCheck, std::move(text), "Check the cable and the switch.");
    }
    if (service.setupState != configuration::NameOf(configuration::SetupState::Complete)) {
        return Fault(kCheck, std::move(text), "Mend the interface first.");
    }
    return Fine(kCheck, std::move(text));
}

Finding JudgeEngine(const Observations &seen)
{
    constexpr const char *kCheck = "engine";
    if (!Runs(seen)) {
        return Unknown(kCheck, kNotRunning);
    }
    if (!seen.engine.announced || !seen.engine.known) {
        return JudgeSilentEngine(seen);
    }
    return Fine(kCheck, Concat({"announces ", std::to_string(seen.engine.announced->entries.size()),
                                " and knows ", std::to_string(seen.engine.known->entries.size()),
                                seen.engine.known->cut ? " or more" : "", " services"}));
}

// The kernel gives a unicast datagram to the socket that was bound last.
Finding JudgePort(const Observations &seen)
{
    constexpr const char *kCheck = "port";
    if (!Runs(seen)) {
        return Unknown(kCheck, kNotRunning);
    }
    const std::size_t daemons = std::max<std::size_t>(seen.daemons.size(), 1);
    if (seen.sockets.size() <= daemons) {
        return Fine(kCheck, "no other program uses UDP port 1900");
    }
    return {kCheck, Severity::Notice,
            Concat({"other programs use UDP port 1900: it has ",
                    std::to_string(seen.sockets.size()), " sockets"}),
            "Remove them (ss -ulpn), or restart beacond: only the last one that was started gets "
            "the description documents."};
}

} // namespace beaconctl
