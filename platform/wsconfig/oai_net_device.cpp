#include "wsconfig/oai_net_device.h"

#include <QLatin1String>
#include <algorithm>
#include <array>

namespace OpenAPI {
namespace {

constexpr std::array<QLatin1String, 4> kStates = {QLatin1String("Idle"), QLatin1String("Preparing"),
                                                  QLatin1String("Complete"),
                                                  QLatin1String("Failed")};

} // namespace

OAIInterfaceSetupState::OAIInterfaceSetupState(const QString &name)
{
    if (std::find(kStates.begin(), kStates.end(), name) != kStates.end()) {
        m_name = name;
    }
}

OAINetParams::OAINetParams(const QJsonObject &object)
    : m_address(object.value(QLatin1String("address")).toString())
{
}

OAINetStatus::OAINetStatus(const QJsonObject &object)
    : m_setupState(object.value(QLatin1String("interfaceSetupState")).toString()),
      m_connected(object.value(QLatin1String("connected")).toBool())
{
}

OAINetDevice::OAINetDevice(const QJsonObject &object)
    : m_status(object.value(QLatin1String("status")).toObject()),
      m_activeParams(object.value(QLatin1String("activeParams")).toObject())
{
}

} // namespace OpenAPI
