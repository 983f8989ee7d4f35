// Configuration values: no text crashes the readers. A member is set only if the text is JSON in
// which the member has the right type. Memory is in proportion to the text.

#include "check.h"
#include "memory.h"
#include "wsconfig/oai_models.h"
#include "wsconfig/ws_config.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

// Qt's reader of JSON keeps up to 16 bytes for each value, and doubles its room when that is full.
// A value has at least one byte, and so has an array that contains another one.
constexpr std::size_t kFixed = 1024;
constexpr std::size_t kPerByte = 96;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const MemoryCount systemMemory;
    const OpenAPI::OAISystemConfig system(text);
    FUZZ_CHECK(systemMemory.Allocated() <= kFixed + kPerByte * size);
    const QJsonDocument json = QJsonDocument::fromJson(text.toUtf8());
    if (!json.isObject()) {
        FUZZ_CHECK(!system.is_host_name_Set() && !system.is_ssdp_enable_Set());
    } else {
        FUZZ_CHECK(system.is_host_name_Set() ==
                   json.object().value(QLatin1String("hostName")).isString());
        FUZZ_CHECK(system.is_ssdp_enable_Set() ==
                   json.object().value(QLatin1String("ssdpEnable")).isBool());
    }
    WSConfig client(nullptr, QStringLiteral("127.0.0.1"), 8080);
    const MemoryCount listMemory;
    const auto devices = client.makeDeviceList(text);
    FUZZ_CHECK(listMemory.Allocated() <= kFixed + kPerByte * size);
    FUZZ_CHECK(static_cast<std::size_t>(devices.size()) <=
               size / 2); // the shortest one: 0 and a comma
    for (const OpenAPI::OAINetDevice &device : devices) {
        const QString state = device.getStatus().getInterfaceSetupState().asJson();
        FUZZ_CHECK(state.isEmpty() || state == QLatin1String("Idle") ||
                   state == QLatin1String("Preparing") || state == QLatin1String("Complete") ||
                   state == QLatin1String("Failed"));
    }
    return 0;
}
