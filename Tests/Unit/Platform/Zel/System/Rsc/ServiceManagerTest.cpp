#include "Zel/System/Rsc/ServiceManager.h"

#include "Zel/Services/Device/DeviceControlServiceProxyFactory.h"
#include "Zel/Services/Device/DeviceInfoServiceProxyFactory.h"

#include <gtest/gtest.h>
#include <memory>
#include <utility>

namespace Zel::System::Rsc
{

namespace
{

using Zel::Services::Device::DeviceControlServiceProxyFactory;
using Zel::Services::Device::DeviceInfoServiceProxyFactory;

class ServiceManagerTest : public testing::Test
{
protected:
    void TearDown() override { ServiceManager::RegisterService("Test", infoFactory, nullptr); }

    const IProxyFactory& infoFactory = DeviceInfoServiceProxyFactory::GetInstance();
    const IProxyFactory& controlFactory = DeviceControlServiceProxyFactory::GetInstance();
};

TEST_F(ServiceManagerTest, FindsAServiceByProviderAndInterface)
{
    EXPECT_EQ(infoFactory.GetInterfaceName(), "IDeviceInfoService");
    EXPECT_EQ(controlFactory.GetInterfaceName(), "IDeviceControlService");
    const auto service = std::make_shared<IService>();
    ServiceManager::RegisterService("Test", infoFactory, service);
    EXPECT_EQ(ServiceManager::GetService("Test", infoFactory), service);
    EXPECT_EQ(ServiceManager::GetService("Other", infoFactory), nullptr);
    EXPECT_EQ(ServiceManager::GetService("Test", controlFactory), nullptr);
}

TEST_F(ServiceManagerTest, ALaterServiceReplacesAndNullTakesBack)
{
    auto earlier = std::make_shared<IService>();
    const std::weak_ptr<IService> watch = earlier;
    ServiceManager::RegisterService("Test", infoFactory, std::move(earlier));
    const auto later = std::make_shared<IService>();
    ServiceManager::RegisterService("Test", infoFactory, later);
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(ServiceManager::GetService("Test", infoFactory), later);
    ServiceManager::RegisterService("Test", infoFactory, nullptr);
    EXPECT_EQ(ServiceManager::GetService("Test", infoFactory), nullptr);
    EXPECT_EQ(later.use_count(), 1);
}

} // namespace

} // namespace Zel::System::Rsc
