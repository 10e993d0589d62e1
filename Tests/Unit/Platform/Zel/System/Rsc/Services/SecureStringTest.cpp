#include "Zel/System/Rsc/Services/SecureString.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <utility>

namespace Zel::System::Rsc::Services
{

namespace
{

using Secret = SecureString<16>;

/// Whether none of the object's bytes, its length included, is set.
bool IsBlank(const volatile unsigned char* bytes)
{
    return std::all_of(bytes, bytes + sizeof(Secret), [](unsigned char byte) { return byte == 0; });
}

bool IsBlank(const Secret& secret)
{
    return IsBlank(reinterpret_cast<const volatile unsigned char*>(&secret));
}

TEST(SecureStringTest, WipeOverwritesTheWholeBuffer)
{
    Secret secret("123456789012345");
    EXPECT_EQ(secret.GetView(), "123456789012345");
    secret.Wipe();
    EXPECT_TRUE(IsBlank(secret));
}

TEST(SecureStringTest, AMoveLeavesNothingBehind)
{
    Secret first("first secret");
    const Secret& leftByConstruction = first;
    Secret second(std::move(first));
    EXPECT_TRUE(IsBlank(leftByConstruction));
    EXPECT_EQ(second.GetView(), "first secret");
    const Secret& leftByAssignment = second;
    Secret third("third");
    third = std::move(second);
    EXPECT_TRUE(IsBlank(leftByAssignment));
    EXPECT_EQ(third.GetView(), "first secret");
}

TEST(SecureStringTest, AShorterSecretOverwritesTheRestOfALongerOne)
{
    Secret secret("123456789012345");
    const Secret empty;
    secret = empty;
    EXPECT_TRUE(IsBlank(secret));
}

TEST(SecureStringTest, TheDestructorWipes)
{
    alignas(Secret) unsigned char storage[sizeof(Secret)] = {};
    auto* secret = new (storage) Secret("secret");
    EXPECT_FALSE(IsBlank(storage));
    std::destroy_at(secret);
    EXPECT_TRUE(IsBlank(storage));
}

TEST(SecureStringTest, RefusesATextThatDoesNotFit)
{
    EXPECT_EQ(SecureString<4>("abc").GetView(), "abc");
    try
    {
        const SecureString<4> secret("abcd");
        ADD_FAILURE() << "no exception";
    }
    catch (const Commons::ArgumentException& exception)
    {
        EXPECT_EQ(exception.GetArgumentName(), "arg");
        EXPECT_EQ(exception.GetMessage(), "Input string is too long");
    }
}

} // namespace

} // namespace Zel::System::Rsc::Services
