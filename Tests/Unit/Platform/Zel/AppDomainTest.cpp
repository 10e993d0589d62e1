#include "Zel/AppDomain.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

namespace Zel
{

struct SharedThing
{
    /// Runs when the object is destroyed.
    std::function<void()> onDestroyed = [] {};

    SharedThing() = default;
    SharedThing(const SharedThing&) = delete;
    SharedThing& operator=(const SharedThing&) = delete;

    ~SharedThing() { onDestroyed(); }
};

namespace
{

template <typename Call>
String GetExceptionMessage(Call&& call)
{
    try
    {
        call();
    }
    catch (const Exception& exception)
    {
        return exception.GetMessage();
    }
    return "no exception";
}

TEST(SingletonTest, GetInstanceNamesTheMissingType)
{
    EXPECT_EQ(GetExceptionMessage([] { static_cast<void>(Singleton<SharedThing>::GetInstance()); }),
              "Singleton instance of type 'Zel::SharedThing' was not created yet!");
    EXPECT_FALSE(Singleton<SharedThing>::HasInstance());
}

TEST(SingletonTest, TrySetInstanceKeepsAnEarlierInstance)
{
    SharedThing first;
    SharedThing second;
    EXPECT_TRUE(Singleton<SharedThing>::TrySetInstance(&first));
    EXPECT_FALSE(Singleton<SharedThing>::TrySetInstance(&second));
    EXPECT_EQ(&Singleton<SharedThing>::GetInstance(), &first);
    Singleton<SharedThing>::SetInstance(&second);
    EXPECT_EQ(&Singleton<SharedThing>::GetInstance(), &second);
    Singleton<SharedThing>::SetInstance(nullptr);
    EXPECT_FALSE(Singleton<SharedThing>::HasInstance());
}

TEST(AppDomainTest, GetSingletonNamesTheMissingType)
{
    AppDomain appDomain("test");
    const auto getThing = [&] { static_cast<void>(appDomain.GetSingleton<SharedThing>()); };
    const String missing = "AppDomain Singleton instance of type 'Zel::SharedThing' was not created yet!";
    EXPECT_EQ(GetExceptionMessage(getThing), missing);
    appDomain.SetSingleton(std::make_shared<SharedThing>());
    EXPECT_EQ(GetExceptionMessage(getThing), "no exception");
    appDomain.SetSingleton<SharedThing>(nullptr);
    EXPECT_EQ(GetExceptionMessage(getThing), missing);
}

TEST(AppDomainTest, AnObjectThatIsTakenBackMayAskTheRegistryInItsDestructor)
{
    AppDomain appDomain("test");
    auto thing = std::make_shared<SharedThing>();
    String seen;
    thing->onDestroyed = [&]
    { seen = GetExceptionMessage([&] { static_cast<void>(appDomain.GetSingleton<SharedThing>()); }); };
    appDomain.SetSingleton(std::move(thing));
    appDomain.SetSingleton<SharedThing>(nullptr);
    EXPECT_THAT(seen, testing::HasSubstr("was not created yet!"));
}

TEST(AppDomainTest, TryGetPathVariableLeavesItsArgumentAloneForAnUnknownName)
{
    AppDomain appDomain("test");
    appDomain.SetPathVariable("DATA", "/var/lib/one");
    appDomain.SetPathVariable("DATA", "/var/lib/two");
    String value = "before";
    EXPECT_FALSE(appDomain.TryGetPathVariable("data", value));
    EXPECT_EQ(value, "before");
    EXPECT_TRUE(appDomain.TryGetPathVariable("DATA", value));
    EXPECT_EQ(value, "/var/lib/two");
}

} // namespace

} // namespace Zel
