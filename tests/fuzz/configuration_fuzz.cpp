// Configuration values: no text crashes the readers. A member is set only if the text is JSON in
// which the member has the right type.

#include "check.h"
#include "wsconfig/oai_models.h"
#include "wsconfig/ws_config.h"

#include <QJsonDocument>
#include <QJsonObject>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const OpenAPI::OAISystemConfig system(text);
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
    for (const OpenAPI::OAINetDevice &device : client.makeDeviceList(text)) {
        const QString state = device.getStatus().getInterfaceSetupState().asJson();
        FUZZ_CHECK(state.isEmpty() || state == QLatin1String("Idle") ||
                   state == QLatin1String("Preparing") || state == QLatin1String("Complete") ||
                   state == QLatin1String("Failed"));
    }
    return 0;
}
