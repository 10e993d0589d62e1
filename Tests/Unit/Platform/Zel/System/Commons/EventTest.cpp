#include "Zel/System/Commons/Event.h"

#include "Unit/Platform/Thrown.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace Zel::System::Commons
{

namespace
{

struct Listener
{
    using Listeners = std::vector<const Listener*>;

    void Record(Listeners& called) const { called.push_back(this); }

    void Count() { ++calls; }

    /// Adds another delegate and removes its own.
    void Change()
    {
        ++calls;
        event.Add(Delegate<>::Bind<&Listener::Count>(this));
        event.Remove(Delegate<>::Bind<&Listener::Change>(this));
    }

    Event<>& event;
    std::atomic<int> calls{0};
};

} // namespace

TEST(EventTest, RaiseCallsInTheOrderOfTheListAndRemoveTakesTheFirstEqual)
{
    Event<> none;
    const Listener one{none};
    const Listener two{none};
    using Handler = Delegate<Listener::Listeners&>;
    Event<Listener::Listeners&> event;
    for (const Listener* const listener : {&one, &two, &one})
    {
        event.Add(Handler::Bind<&Listener::Record>(listener));
    }
    Listener::Listeners called;
    event.Raise(called);
    EXPECT_EQ(called, (Listener::Listeners{&one, &two, &one}));
    called.clear();
    event.Remove(Handler::Bind<&Listener::Record>(&one));
    event.Raise(called);
    EXPECT_EQ(called, (Listener::Listeners{&two, &one}));
}

TEST(EventTest, AddRefusesWhatCannotBeRemovedAgain)
{
    Event<> event;
    for (const Delegate<>& delegate : {Delegate<>([] {}), Delegate<>()})
    {
        EXPECT_EQ(Tests::GetThrown([&] { event.Add(delegate); }),
                  "Zel::Exception: Lambda delegates are not supported by events.");
    }
    EXPECT_TRUE(event.IsEmpty());
}

TEST(EventTest, HandlersMayChangeTheListWhichCountsFromTheNextRaise)
{
    Event<> event;
    Listener changer{event};
    Listener steady{event};
    event.Add(Delegate<>::Bind<&Listener::Change>(&changer));
    event.Add(Delegate<>::Bind<&Listener::Count>(&steady));
    event.Remove(Delegate<>::Bind<&Listener::Change>(&steady));
    for (int round = 1; round <= 2; ++round)
    {
        event.Raise();
        EXPECT_EQ(changer.calls, round);
        EXPECT_EQ(steady.calls, round);
    }
}

TEST(EventTest, ConcurrentChangesLoseNoDelegateAndNoCall)
{
    constexpr int Rounds = 2'000;
    Event<> event;
    Listener steady{event};
    Listener passing{event};
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
