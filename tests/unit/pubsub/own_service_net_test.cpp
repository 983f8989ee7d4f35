#include "coordinator.h"
#include "product/product_id.h"

// A program of its own: the product of a process is determined once.
TEST(OwnService, HasHttpOnAProductThatCanDoHttps)
{
    test::Coordinator device(R"({"hostName":"alpha","ssdpEnable":true})", "lumenplus");
    ASSERT_TRUE(CProductFeatures::canDoHTTPS());
    SSDPDeviceType service;
    device.PubSub().initService(service);
    EXPECT_EQ(service.modelName, "Lumen Plus");
    EXPECT_EQ(service.urlScheme, "http://");
}
