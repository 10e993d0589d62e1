#include "Zel/TypeName.h"

#include "Zel/System/Nm/NotificationRegistration.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <gtest/gtest.h>
#include <map>

namespace Zel
{

namespace
{

class Hidden
{
public:
    struct Inner
    {
    };
};

template <typename... Arguments>
struct Holder
{
    struct Inner
    {
    };
};

TEST(TypeNameTest, NamesNamespacesInFull)
{
    using Payload = System::NmPayload::Security::SecurityNotificationPayload;
    EXPECT_EQ(TypeName<Payload>(), "Zel::System::NmPayload::Security::SecurityNotificationPayload");
}

TEST(TypeNameTest, ShortNameHasNoNamespacesAndNoEnclosingClasses)
{
    struct Local
    {
    };

    using Payload = System::NmPayload::Security::SecurityNotificationPayload;
    using Registration = System::Nm::NotificationRegistration<Payload>;
    EXPECT_EQ(ShortTypeName(typeid(Payload)), "SecurityNotificationPayload");
    EXPECT_EQ(ShortTypeName(typeid(Registration)), "NotificationRegistration<SecurityNotificationPayload>");
    EXPECT_EQ(ShortTypeName(typeid(Hidden)), "Hidden");
    EXPECT_EQ(ShortTypeName(typeid(Hidden::Inner)), "Inner");
    EXPECT_EQ(ShortTypeName(typeid(Local)), "Local");
    EXPECT_EQ(ShortTypeName(typeid(Holder<Hidden, unsigned long>)), "Holder<Hidden, unsigned long>");
    EXPECT_EQ(ShortTypeName(typeid(Holder<Hidden::Inner>::Inner)), "Inner");
    EXPECT_EQ(ShortTypeName(typeid(Holder<Holder<>, void (*)(const Hidden&)>)),
              "Holder<Holder<>, void (*)(Hidden const&)>");
    EXPECT_EQ(ShortTypeName(typeid(int)), "int");
}

} // namespace

} // namespace Zel
