#include "Zel/System/Commons/Extensibility/ModuleFactory.h"

#include "Unit/Platform/Thrown.h"

#include <gtest/gtest.h>

namespace Zel::System::Commons::Extensibility
{

TEST(ModuleFactoryTest, RefusesInTheOrderNameFunctionDuplicateAndKeepsWhatItHas)
{
    using Factory = ModuleFactory<int>;
    const auto create = [](int number) { return [number] { return std::make_unique<int>(number); }; };
    Factory factory;
    factory.AddFactoryFunction("Known", create(1));
    factory.AddFactoryFunction("known", create(2));

    const auto add = [&](const String& moduleName, const Factory::FactoryFunction& function)
    { return Tests::GetThrown([&] { factory.AddFactoryFunction(moduleName, function); }); };
    const String refused = "Zel::System::Commons::ArgumentException: ";
    EXPECT_EQ(add("", nullptr), refused + "Invalid module name (argument 'moduleName')");
    EXPECT_EQ(add("Known", nullptr), refused + "Invalid factory function. (argument 'function')");
    EXPECT_EQ(add("Known", create(3)), refused + "Duplicate module name (argument 'moduleName')");
    EXPECT_EQ(factory.GetModuleNames(), (std::vector<String>{"Known", "known"}));
    EXPECT_EQ(*factory.CreateModule("Known"), 1);
    EXPECT_EQ(*factory.CreateModule("known"), 2);
    EXPECT_EQ(factory.CreateModule("KNOWN"), nullptr);
}

} // namespace Zel::System::Commons::Extensibility
