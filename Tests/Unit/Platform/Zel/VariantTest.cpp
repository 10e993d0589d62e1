#include "Zel/Variant.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace Zel
{

namespace
{

TEST(VariantTest, ToStringFollowsTheType)
{
    const struct
    {
        Variant value;
        const char* text;
    } cases[] = {
        {Variant(), ""},
        {true, "true"},
        {false, "false"},
        {std::int32_t{-7}, "-7"},
        {std::numeric_limits<std::uint32_t>::max(), "4294967295"},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
        {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
        {1.5, "1.5"},
        {1e21, "1e+21"},
        {"{0}", "{0}"},
        // Not the pointer as a truth value.
        {"text", "text"},
    };

    for (const auto& row : cases)
    {
        EXPECT_EQ(row.value.ToString(), row.text);
    }
}

TEST(VariantTest, OnlyADefaultConstructedValueIsNone)
{
    EXPECT_TRUE(Variant().IsNone());
    EXPECT_FALSE(Variant("").IsNone());
    EXPECT_FALSE(Variant(std::int32_t{0}).IsNone());
    EXPECT_FALSE(Variant("") == Variant());
}

} // namespace

} // namespace Zel
