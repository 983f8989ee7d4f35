#include "formats/description_document.h"
#include "product/product_id.h"
#include "support/records.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr const char *kMakerURL = "http://www.vexwell.example/";
// The largest payload of a UDP datagram that fits one Ethernet frame.
constexpr std::size_t kUnfragmented = 1472;

// The size of the response with a model's document. All other fields have the largest
// size that occurs in real networks.
std::size_t ResponseSize(const std::string &model, const std::string &category)
{
    SSDPDeviceType service = Device(model, "192.168.100.200", std::string(63, 'h'));
    service.modelNumber = "0x10650002";
    service.modelDescription = category;
    service.serialNumber = std::string(63, '9');
    const std::string document =
        formats::ComposeDescription(service, formats::DescriptionFileName(model, 1), kMakerURL);
    return formats::ComposeGETResponse(document, document.size()).size();
}

} // namespace

TEST(DescriptionResponse, OfEveryModelFitsAnUnfragmentedDatagram)
{
    for (const product::ProductRow &row : product::kProductTable) {
        EXPECT_LE(ResponseSize(row.modelName, row.category), kUnfragmented) << row.modelName;
    }
    EXPECT_LE(ResponseSize("Unknown Model", "Unknown Product"), kUnfragmented);
    EXPECT_EQ(ResponseSize("Corvia 12 Plus", "HD recorder"), 1448U);
}
