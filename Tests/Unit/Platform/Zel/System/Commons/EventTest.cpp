#include "Zel/System/Commons/Event.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace Zel::System::Commons
{

namespace
{

using Numbers = std::vector<int>;

class Listener
{
public:
    Listener(int number, Numbers& called) : number(number), called(&called) {}

    void OnRaised(int value) { called->push_back(number * 100 + value); }

    void OnOther(int value) const { called->push_back(number * 100 - value); }

private:
    int number;
    Numbers* called;
};

TEST(DelegateTest, EqualsTheSameMethodOfTheSameObjectOnly)
{
    Numbers called;
    Listener one(1, called);
    Listener two(2, called);
    using Handler = Delegate<int>;
    const auto bound = Handler::Bind<&Listener::OnRaised>(&one);
    EXPECT_EQ(bound, Handler::Bind<&Listener::OnRaised>(&one));
    EXPECT_FALSE(bound == Handler::Bind<&Listener::OnRaised>(&two));
    EXPECT_FALSE(bound == Handler::Bind<&Listener::OnOther>(&one));
    const Handler lambda = [](int) {};
    EXPECT_FALSE(lambda == lambda);
    EXPECT_FALSE(Handler() == Handler());
}

TEST(DelegateTest, CallsWhatItHolds)
{
    Numbers called;
    const Listener constant(3, called);
    Delegate<int>::Bind<&Listener::OnOther> (&constant)(1);
    Delegate<int>([&](int value) { called.push_back(value); })(7);
    EXPECT_EQ(called, (Numbers{299, 7}));
    EXPECT_THROW(Delegate<int>()(1), std::bad_function_call);
    EXPECT_TRUE(Delegate<int>().IsEmpty());
}

TEST(EventTest, RaiseCallsInTheOrderOfTheListAndRemoveTakesTheFirstEqual)
{
    Numbers called;
    Listener one(1, called);
    Listener two(2, called);
    const auto first = Delegate<int>::Bind<&Listener::OnRaised>(&one);
    const auto second = Delegate<int>::Bind<&Listener::OnRaised>(&two);
    Event<int> event;
    event.Add(first);
    event.Add(second);
    event.Add(first);
    event.Raise(5);
    EXPECT_EQ(called, (Numbers{105, 205, 105}));

    called.clear();
    event.Remove(first);
    event.Remove(Delegate<int>::Bind<&Listener::OnOther>(&two));
    event.Raise(6);
    EXPECT_EQ(called, (Numbers{206, 106}));

    event.Remove(first);
    event.Remove(second);
    event.Remove(second);
    EXPECT_TRUE(event.IsEmpty());
}

TEST(EventTest, AddRefusesWhatCannotBeRemovedAgain)
{
    Event<> event;
    for (const Delegate<>& delegate : {Delegate<>([] {}), Delegate<>()})
    {
        try
        {
            event.Add(delegate);
            ADD_FAILURE() << "no exception";
        }
        catch (const Exception& exception)
        {
            EXPECT_EQ(exception.GetMessage(), "Lambda delegates are not supported by events.");
        }
    }
    EXPECT_TRUE(event.IsEmpty());
}

class Counter
{
public:
    void Count() { ++calls; }

    std::atomic<int> calls = 0;
};

/// Adds another listener and removes itself while the event is raised.
class Changer
{
public:
    explicit Changer(Event<>& event) : event(event) { event.Add(Delegate<>::Bind<&Changer::Change>(this)); }

    void Change()
    {
        ++changed;
        event.Add(Delegate<>::Bind<&Changer::Count>(this));
        event.Remove(Delegate<>::Bind<&Changer::Change>(this));
    }

    void Count() { ++counted; }

    int changed = 0;
    int counted = 0;

private:
    Event<>& event;
};

TEST(EventTest, HandlersMayChangeTheListWhichCountsFromTheNextRaise)
{
    Event<> event;
    const Changer changer(event);
    Counter steady;
    event.Add(Delegate<>::Bind<&Counter::Count>(&steady));
    event.Raise();
    EXPECT_EQ(changer.changed, 1);
    EXPECT_EQ(changer.counted, 0);
    EXPECT_EQ(steady.calls, 1);
    event.Raise();
    EXPECT_EQ(changer.changed, 1);
    EXPECT_EQ(changer.counted, 1);
    EXPECT_EQ(steady.calls, 2);
}

TEST(EventTest, ConcurrentChangesLoseNoDelegateAndNoCall)
{
    constexpr int Rounds = 2'000;
    Event<> event;
    Counter steady;
    event.Add(Delegate<>::Bind<&Counter::Count>(&steady));
    std::vector<std::thread> threads;
    std::vector<Counter> passing(2);
    threads.reserve(passing.size());
    for (auto& counter : passing)
    {
        threads.emplace_back(
            [&]
            {
                const auto delegate = Delegate<>::Bind<&Counter::Count>(&counter);
                for (int round = 0; round < Rounds; ++round)
                {
                    event.Add(delegate);
                    event.Remove(delegate);
                }
                event.Add(delegate);
            });
    }
    for (int round = 0; round < Rounds; ++round)
    {
        event.Raise();
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(steady.calls, Rounds);
    for (auto& counter : passing)
    {
        counter.calls = 0;
    }
    event.Raise();
    EXPECT_EQ(passing[0].calls, 1);
    EXPECT_EQ(passing[1].calls, 1);
}

} // namespace

} // namespace Zel::System::Commons
