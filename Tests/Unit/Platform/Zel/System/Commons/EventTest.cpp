#include "Zel/System/Commons/Event.h"

#include "Support/Thrown.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace Zel::System::Commons
{

namespace
{

struct Listener
{
    void Record(String& called) const { called += name; }

    void Count() { ++calls; }

    /// Adds another delegate and removes its own.
    void Change()
    {
        ++calls;
        event->Add(Delegate<>::Bind<&Listener::Count>(this));
        event->Remove(Delegate<>::Bind<&Listener::Change>(this));
    }

    char name = 'a';
    Event<>* event = nullptr;
    std::atomic<int> calls{0};
};

} // namespace

TEST(EventTest, RaiseCallsInTheOrderOfTheListAndRemoveTakesTheFirstEqual)
{
    const Listener one{'1'};
    const Listener two{'2'};
    Event<String&> event;
    for (const Listener* const listener : {&one, &two, &one})
    {
        event.Add(Delegate<String&>::Bind<&Listener::Record>(listener));
    }
    String called;
    event.Raise(called);
    event.Remove(Delegate<String&>::Bind<&Listener::Record>(&one));
    event.Raise(called);
    EXPECT_EQ(called, "12121");
}

TEST(EventTest, AddRefusesWhatCannotBeRemovedAgain)
{
    Event<> event;
    for (const Delegate<>& delegate : {Delegate<>([] {}), Delegate<>()})
    {
        EXPECT_EQ(Tests::Support::GetThrown([&] { event.Add(delegate); }),
                  "Zel::Exception: Lambda delegates are not supported by events.");
    }
    EXPECT_TRUE(event.IsEmpty());
}

TEST(EventTest, HandlersMayChangeTheListWhichCountsFromTheNextRaise)
{
    Event<> event;
    Listener changer{'c', &event};
    Listener steady{'s', &event};
    event.Add(Delegate<>::Bind<&Listener::Change>(&changer));
    event.Add(Delegate<>::Bind<&Listener::Count>(&steady));
    event.Remove(Delegate<>::Bind<&Listener::Change>(&steady));
    for (int round = 1; round <= 2; ++round)
    {
        event.Raise();
        EXPECT_TRUE(changer.calls == round && steady.calls == round) << round;
    }
}

TEST(EventTest, ConcurrentChangesLoseNoDelegateAndNoCall)
{
    constexpr int Rounds = 2'000;
    Event<> event;
    Listener steady;
    Listener passing;
    event.Add(Delegate<>::Bind<&Listener::Count>(&steady));
    const auto change = [&](bool raise)
    {
        for (int round = 0; round < Rounds; ++round)
        {
            event.Add(Delegate<>::Bind<&Listener::Count>(&passing));
            event.Remove(Delegate<>::Bind<&Listener::Count>(&passing));
            raise ? event.Raise() : void();
        }
    };
    std::thread other(change, false);
    change(true);
    other.join();
    EXPECT_EQ(steady.calls, Rounds);
    event.Remove(Delegate<>::Bind<&Listener::Count>(&steady));
    EXPECT_TRUE(event.IsEmpty());
}

} // namespace Zel::System::Commons
