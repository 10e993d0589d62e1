#include "Zel/System/Commons/Extensibility/ModuleFactory.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace Zel::System::Commons::Extensibility
{

namespace
{

struct Module
{
    int number;
};

using Factory = ModuleFactory<Module>;

Factory::FactoryFunction CreateNumbered(int number)
{
    return [number] { return std::make_unique<Module>(Module{number}); };
}

TEST(ModuleFactoryTest, AddFactoryFunctionChecksNameThenFunctionThenDuplicate)
{
    Factory factory;
    factory.AddFactoryFunction("Known", CreateNumbered(1));

    const struct
    {
        const char* moduleName;
        Factory::FactoryFunction function;
        const char* argumentName;
        const char* message;
    } cases[] = {
        {"", nullptr, "moduleName", "Invalid module name"},
        {"", CreateNumbered(2), "moduleName", "Invalid module name"},
        {"Known", nullptr, "function", "Invalid factory function."},
        {"New", nullptr, "function", "Invalid factory function."},
        {"Known", CreateNumbered(2), "moduleName", "Duplicate module name"},
    };

    for (const auto& row : cases)
    {
        try
        {
            factory.AddFactoryFunction(row.moduleName, row.function);
            ADD_FAILURE() << "no exception";
        }
        catch (const ArgumentException& exception)
        {
            EXPECT_EQ(exception.GetArgumentName(), row.argumentName);
            EXPECT_EQ(exception.GetMessage(), row.message);
        }
    }
    EXPECT_EQ(factory.GetModuleNames(), std::vector<String>{"Known"});
    EXPECT_EQ(factory.CreateModule("Known")->number, 1);
}

TEST(ModuleFactoryTest, NamesAreComparedByLetterCaseAndKeepTheirOrder)
{
    Factory factory;
    factory.AddFactoryFunction("Updater", CreateNumbered(1));
    factory.AddFactoryFunction("updater", CreateNumbered(2));
    factory.AddFactoryFunction(String("Updater\0", 8), CreateNumbered(3));
    EXPECT_EQ(factory.GetModuleNames(), (std::vector<String>{"Updater", "updater", String("Updater\0", 8)}));
    EXPECT_EQ(factory.CreateModule("updater")->number, 2);
    EXPECT_EQ(factory.CreateModule("UPDATER"), nullptr);
}

TEST(ModuleFactoryTest, CreateModuleLetsTheConstructorsExceptionPass)
{
    Factory factory;
    factory.AddFactoryFunction("Broken",
                               []() -> std::unique_ptr<Module> { throw std::domain_error("broken"); });
    EXPECT_THROW(static_cast<void>(factory.CreateModule("Broken")), std::domain_error);
}

} // namespace

} // namespace Zel::System::Commons::Extensibility
