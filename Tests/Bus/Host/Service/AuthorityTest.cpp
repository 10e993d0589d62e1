// What polkit and logind are asked, and what is made of their answers.

#include "Service/Authorizer.h"
#include "Service/Logind.h"

#include "Support/BusPeer.h"
#include "Support/ComponentFixture.h"
#include "Support/PrivateBus.h"

namespace Zel::Host::Service
{

using namespace testing;

class AuthorityTest : public Test, protected LoopRunner
{
protected:
    using Answer = std::function<int(sd_bus_message* call)>;

    static Answer Refuse(const char* name)
    {
        return [=](sd_bus_message* call) { return sd_bus_reply_method_errorf(call, name, "No."); };
    }

    /// What polkit answers: authorized, and otherwise whether somebody could authenticate.
    static Answer Judge(int authorized, int challenge)
    {
        return [=](sd_bus_message* call)
        { return sd_bus_reply_method_return(call, "(bba{ss})", authorized, challenge, 0); };
    }

    static Answer Say(const char* text)
    {
        return [=](sd_bus_message* call) { return sd_bus_reply_method_return(call, "s", text); };
    }

    /// Returns what a question ends with.
    String Ask(const std::function<void(const std::function<void(const String&)>& done)>& question)
    {
        std::optional<String> end;
        question([&end](const String& text) { end = text; });
        EXPECT_TRUE(RunUntil([&] { return end.has_value(); }));
        return end.value_or("no end");
    }

    String Check(uid_t user, const Answer& next)
    {
        answer = next;
        return Ask([&](const auto& done) { authorizer.Check({":1.7", user, 1, true}, "stage", done); });
    }

    /// Notes a call with what its arguments tell, and answers it.
    void OnMessage(sd_bus_message* message)
    {
        if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0)
        {
            return;
        }
        const char* kind = "";
        const char* key = "";
        const char* name = "";
        const char* action = "";
        std::uint32_t flags = 0;
        int interactive = 0;
        sd_bus_message_read(message, "(sa{sv})sa{ss}u", &kind, 1, &key, "s", &name, &action, 0, &flags);
        sd_bus_message_read(message, "b", &interactive);
        calls.push_back(String(sd_bus_message_get_member(message)) + " " +
                        sd_bus_message_get_signature(message, 1) + " " + kind + " " + key + " " + name + " " +
                        action + " " + std::to_string(flags) + (interactive != 0 ? " interactive" : ""));
        EXPECT_GE(answer(message), 0);
    }

    Tests::Support::PrivateBus& bus = Tests::Support::PrivateBus::OfProcess();
    BusConnection connection{loop, [] {}};
    Authorizer authorizer{connection, ""};
    Logind logind{connection};
    std::recursive_mutex lock;
    Answer answer;
    std::vector<String> calls;
};

TEST_F(AuthorityTest, PolkitIsAskedAboutTheCallerAndWhereThereIsNoneTheGroupDecides)
{
    constexpr uid_t Stranger = 4242;
    EXPECT_THAT(Check(Stranger, {}), StartsWith("User 4242 may not "));
    const Tests::Support::BusPeer polkit("org.freedesktop.PolicyKit1", lock,
                                         [this](sd_bus_message* message) { OnMessage(message); });
    EXPECT_EQ(Check(0, {}), "");
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(Check(Stranger, Judge(1, 0)), "");
    EXPECT_THAT(calls, ElementsAre("CheckAuthorization (sa{sv})sa{ss}us system-bus-name name :1.7 "
                                   "zel.softwareupdate1.stage 1"));
    const String refusal = "polkit does not allow user 4242 the action 'zel.softwareupdate1.stage'.";
    EXPECT_THAT(Check(Stranger, Judge(0, 0)), StartsWith(refusal));
    EXPECT_THAT(Check(Stranger, Judge(0, 1)), StartsWith(refusal));
    // Answers that are none allow nothing.
    for (const Answer& none : {Say("yes"), Refuse("org.freedesktop.PolicyKit1.Error.Failed"),
                               Refuse("org.freedesktop.DBus.Error.AccessDenied")})
    {
        EXPECT_THAT(Check(Stranger, none), StartsWith("polkit could not be asked"));
    }
}

TEST_F(AuthorityTest, LogindIsAskedForTheRestartAndWhetherItWouldOrderOne)
{
    const auto canReboot = [this] { return Ask([&](const auto& done) { logind.CanReboot(done); }); };
    const auto reboot = [this] { return Ask([&](const auto& done) { logind.Reboot(done); }); };
    EXPECT_THAT(canReboot(), HasSubstr("about a restart by this service."));
    EXPECT_THAT(reboot(), StartsWith("logind: "));
    const Tests::Support::BusPeer login("org.freedesktop.login1", lock,
                                        [this](sd_bus_message* message) { OnMessage(message); });
    answer = Say("yes");
    EXPECT_EQ(canReboot(), "");
    answer = Say("challenge");
    EXPECT_THAT(canReboot(), StartsWith("logind says 'challenge' about a restart"));
    answer = [](sd_bus_message* call) { return sd_bus_reply_method_return(call, ""); };
    EXPECT_EQ(reboot(), "");
    EXPECT_THAT(calls.back(), StartsWith("Reboot b"));
    answer = Refuse("org.freedesktop.DBus.Error.InteractiveAuthorizationRequired");
    EXPECT_EQ(reboot(), "logind: No.");
}

} // namespace Zel::Host::Service
