#pragma once

#include "Support/ComponentFixture.h"
#include "Support/PrivateBus.h"
#include "Support/ProgramRun.h"

#include "Service/BusApi.h"

#include <systemd/sd-bus.h>

#include <map>
#include <regex>

namespace Zel::Tests::Bus
{

/// A device at rest with the versions 1.0.0.0, 1.1.0.0 that is pending and 0.9.0.0 to fall back to, whose
/// service is on the bus, and the command line's program as a child.
struct Device : Host::Service::FakeDevice
{
    using ProgramRun = Support::ProgramRun;

    Device()
    {
        static_cast<void>(Support::PrivateBus::OfProcess());
        folder.Write("a.raucb", "a bundle");
        script->SetVersion(FileType::Pending, "1.1.0.0");
        script->SetVersion(FileType::Fallback, "0.9.0.0");
        script->install = [this](IUpdaterStatus& given, const String& version, long long delay)
        {
            const ResultCode result = Begin(given, version, delay);
            if (delay == 0)
            {
                given.SetMessage(Id, "Installing", true);
                given.SetProgress(Id, 0);
            }
            LoseAnswer();
            return result;
        };
        script->revert = [this](IUpdaterStatus& given)
        {
            const bool begun = given.BeginInstallation(Id, false);
            LoseAnswer();
            return begun ? ResultCode::Ok : ResultCode::InvalidState;
        };
        EXPECT_EQ(Start(), "");
        Appear();
    }

    /// Has the interface on the bus, with the first component or both; the other one was never started.
    void Appear(bool both = false)
    {
        const auto components = both ? std::vector{&component, &other} : std::vector{&component};
        connection.emplace(loop, Host::Service::EventLoop::Task());
        sd_bus_add_filter(connection->Get(), nullptr, OnMessage, this);
        api.emplace(*connection, Host::Service::BusApi::Content{"0.1.0", "boot", {"Fake"}, components, ""});
    }

    /// Leaves the bus, as a service does whose device restarts.
    void Vanish()
    {
        api.reset();
        connection.reset();
    }

    /// Starts the program with arguments, given as words, behind an environment in `call`. "FILE" is a file
    /// with "a bundle" in it, and so is standard input. The service is served while the program is waited
    /// for.
    [[nodiscard]] ProgramRun Call(const String& words, ProgramRun::Output output = ProgramRun::Output::Pipes,
                                  std::vector<String> call = {})
    {
        call.push_back(ZEL_UPDATE_PROGRAM);
        std::istringstream stream(words);
        for (String word; stream >> word;)
        {
            call.push_back(word == "FILE" ? folder / "a.raucb" : word);
        }
        return ProgramRun(call, output, "a bundle", [this] { Serve(); });
    }

    /// Returns a text without spans of time, with NOW for what the clock says and FILE for the file.
    [[nodiscard]] String ToSteady(const String& text) const
    {
        static const std::regex Span(" \\(\\d+:\\d\\d[^)]*\\)(?=\n)");
        static const std::regex Clock("20[2-9]\\d-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ");
        const String timeless = std::regex_replace(std::regex_replace(text, Span, ""), Clock, "NOW");
        return std::regex_replace(timeless, std::regex(folder / "a.raucb"), "FILE");
    }

    /// Returns all that the module was asked to change.
    [[nodiscard]] String GetOrders() const
    {
        std::vector<String> orders = script->calls.Get();
        const std::regex order("(Set|Install)SoftwarePackage .*|RevertInstall");
        std::erase_if(orders, [&](const String& call) { return !std::regex_match(call, order); });
        return Join(orders, "; ");
    }

    /// Has what the store knows announced at once, and not together with what comes soon.
    void Announce() { component.UpdateStatus(); }

    /// Tells how far the installation is.
    void Tell(int percent, const String& message)
    {
        status->SetMessage(Id, message, false);
        status->SetProgress(Id, percent);
        Announce();
    }

    /// Lets the installation copy, and begin where none runs.
    void Copy()
    {
        if (Now().state == InstallationState::Idle)
        {
            status->SetUpcoming(Id, {"user 0", false, "1.0.0.0", "1.1.0.0", 0});
            EXPECT_EQ(script->install(*status, "1.1.0.0", 0), ResultCode::Ok);
        }
        Tell(46, "Copying image");
    }

    /// Ends the installation with a verdict whose reason stands as the message.
    void End(bool success, const String& reason = "")
    {
        status->SetMessage(Id, reason, false);
        status->EndInstallation(Id, success);
        Announce();
    }

    /// Has the restart ordered that ends the installation.
    void OrderRestart()
    {
        Tell(100, "Installing done.");
        status->SetMessage(Id, "The device is going to reboot.", false);
        status->AddRestart(Id);
        Announce();
    }

    void Restart()
    {
        OrderRestart();
        Vanish();
    }

    /// What is done once the program has read that an installation goes on.
    std::function<void()> story;
    const String path = Host::Service::ComponentObject::GetPath(Id);
    /// Whether the device restarts before a request is answered.
    std::atomic<bool> losesAnswers = false;
    /// The errors that methods are refused with; without a name there is no answer at all.
    std::map<String, String> refusals;
    /// Who called the component last.
    String lastCaller;
    /// Whether an installation went on when the component's properties were read the last time.
    bool hasShown = false;
    Host::Service::Component other{"Display/\u00e4", MakeEnvironment()};
    std::optional<Host::Service::BusConnection> connection;
    std::optional<Host::Service::BusApi> api;

private:
    void Serve()
    {
        do
        {
            // The module's thread has the first word.
            const bool goesOn = Now().activity == Host::Service::Activity::Installing
                                    ? !Now().message.empty()
                                    : Now().activity == Host::Service::Activity::Reverting;
            const bool toTell = hasShown && goesOn;
            const auto next = toTell ? std::exchange(story, {}) : nullptr;
            next ? next() : void();
        } while (sd_event_run(loop.Get(), 0) > 0);
    }

    void LoseAnswer()
    {
        losesAnswers ? loop.Post([this] { Restart(); }) : void();
    }

    static int OnMessage(sd_bus_message* message, void* userdata, sd_bus_error* error)
    {
        auto& device = *static_cast<Device*>(userdata);
        const bool isCall = sd_bus_message_is_method_call(message, nullptr, nullptr) > 0;
        if (!isCall || device.path != sd_bus_message_get_path(message))
        {
            return 0;
        }
        const String member = sd_bus_message_get_member(message);
        const bool isInstalling = device.Now().state == InstallationState::Installing;
        device.hasShown = member == "GetAll" ? isInstalling : device.hasShown;
        device.lastCaller = sd_bus_message_get_sender(message);
        const auto refusal = device.refusals.find(member);
        const bool isRefused = refusal != device.refusals.end();
        const bool isAnswered = isRefused && !refusal->second.empty();
        return isAnswered ? sd_bus_error_set(error, refusal->second.c_str(), "No.") : isRefused ? 1 : 0;
    }
};

} // namespace Zel::Tests::Bus
