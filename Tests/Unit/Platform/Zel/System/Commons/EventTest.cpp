#include "Zel/System/Commons/Event.h"

#include "Support/Thrown.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace Zel::System::Commons
{

struct Listener
{
    void Record(String& called)
    {
        called += name;
        ++calls;
    }

    /// Adds another delegate and removes its own.
    void Change(String& called)
    {
        Record(called);
        event->Add(Delegate<String&>::Bind<&Listener::Record>(this));
        event->Remove(Delegate<String&>::Bind<&Listener::Change>(this));
    }

    char name = 'a';
    Event<String&>* event = nullptr;
    std::atomic<int> calls{0};
};

TEST(EventTest, RaiseCallsInTheOrderOfTheListAndRemoveTakesTheFirstEqual)
{
    Listener one{'1'};
    Listener two{'2'};
    Event<String&> event;
    for (Listener* const listener : {&one, &two, &one})
    {
        event.Add(Delegate<String&>::Bind<&Listener::Record>(listener));
    }
    String called;
    event.Raise(called);
    event.Remove(Delegate<String&>::Bind<&Listener::Record>(&one));
    // Handlers may change the list, which counts from the next time.
    Listener changer{'c', &event};
    event.Add(Delegate<String&>::Bind<&Listener::Change>(&changer));
    event.Remove(Delegate<String&>::Bind<&Listener::Change>(&one));
    event.Raise(called);
    event.Raise(called);
    EXPECT_EQ(called, "12121c21c");
}

TEST(EventTest, AddRefusesWhatCannotBeRemovedAgain)
{
    Event<> event;
    int calls = 0;
    for (const Delegate<>& delegate : {Delegate<>([&calls] { ++calls; }), Delegate<>()})
    {
        EXPECT_EQ(Tests::Support::GetThrown([&] { event.Add(delegate); }),
                  "Zel::Exception: Lambda delegates are not supported by events.");
    }
    event.Raise();
    EXPECT_EQ(calls, 0);
}

TEST(EventTest, ConcurrentChangesLoseNoDelegateAndNoCall)
{
    constexpr int Rounds = 2'000;
    Event<String&> event;
    Listener steady;
    Listener passing;
    event.Add(Delegate<String&>::Bind<&Listener::Record>(&steady));
    const auto change = [&](bool raise)
    {
        String called;
        for (int round = 0; round < Rounds; ++round)
        {
            event.Add(Delegate<String&>::Bind<&Listener::Record>(&passing));
            event.Remove(Delegate<String&>::Bind<&Listener::Record>(&passing));
            raise ? event.Raise(called) : void();
        }
    };
    std::thread other(change, false);
    change(true);
    other.join();
    EXPECT_EQ(steady.calls, Rounds);
    event.Remove(Delegate<String&>::Bind<&Listener::Record>(&steady));
    String called;
    event.Raise(called);
    EXPECT_EQ(called, "");
}

} // namespace Zel::System::Commons
