#include "Cli/Output.h"

#include "Cli/Facts.h"
#include "Cli/NextStep.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

namespace Zel::Host::Cli
{

namespace
{

using nlohmann::json;

ComponentState MakeState()
{
    ComponentState state;
    state.id = "Controller 750";
    state.state = ComponentState::Installing;
    state.message = "Copying image to rootfs.1";
    state.progressPercent = 46;
    state.progressText = "Copying image";
    state.revertible = true;
    state.currentVersion = "1.0.0.0";
    state.pendingVersion = "1.1.0.0";
    state.bootId = "0e1b2c";
    state.lastVerdict = {"failed", "0.9.0.0", "Confirm has not been sent. Device switched back to slot 'a'.",
                         1'795'244'400'000'000};
    state.nextStart = 1'795'244'460'999'999;
    return state;
}

struct Printed
{
    String out;
    String err;
};

Printed Print(const Report& report, bool asJson)
{
    std::ostringstream out;
    std::ostringstream err;
    Output(out, err, asJson).Write(report, "status");
    return {out.str(), err.str()};
}

/// Every leaf of the object as a person would read it.
void Collect(const json& value, std::vector<String>& texts)
{
    if (value.is_structured())
    {
        for (const json& child : value)
        {
            Collect(child, texts);
        }
    }
    else if (!value.is_boolean())
    {
        texts.push_back(value.is_null() ? "none" : value.is_string() ? value.get<String>() : value.dump());
    }
}

TEST(OutputTest, JsonIsOneObjectWithTheFactsOfThePlainLines)
{
    Report report;
    report.outcome = "shown";
    report.component = MakeState();
    report.facts = FactSet::All;
    report.summary = "All is well.";
    report.next = DescribeNextStep(*report.component);
    const String plain = Print(report, false).out;
    json object = json::parse(Print(report, true).out);

    EXPECT_EQ(object.at("schema"), 1);
    EXPECT_EQ(object.at("exitCode"), 0);
    EXPECT_EQ(object.at("versions").at("current"), "1.0.0.0");
    EXPECT_TRUE(object.at("versions").at("fallback").is_null());
    EXPECT_EQ(object.at("progress").at("percent"), 46);
    EXPECT_EQ(object.at("lastVerdict").at("time"), "2026-11-21T07:00:00Z");
    EXPECT_EQ(object.at("lastVerdict").at("switchedBack"), true);
    EXPECT_EQ(object.at("nextStart"), "2026-11-21T07:01:00Z");
    EXPECT_EQ(object.at("revertible"), true);

    for (const char* const notAFact : {"schema", "command", "exitCode", "outcome", "error"})
    {
        object.erase(notAFact);
    }
    std::vector<String> texts;
    Collect(object, texts);
    EXPECT_GT(texts.size(), 14U);
    for (const String& text : texts)
    {
        EXPECT_NE(plain.find(text), String::npos) << text;
    }
    EXPECT_NE(plain.find("Revertible:        yes\n"), String::npos);
    EXPECT_TRUE(
        plain.ends_with("\nAll is well.\nNext: The installation starts by itself at 2026-11-21T07:01:00Z; "
                        "'zelupdate status' shows how it goes.\n"));
}

TEST(OutputTest, WhatThereIsNotIsNullAndNone)
{
    Report report;
    report.component = ComponentState();
    report.facts = FactSet::All;
    const json object = json::parse(Print(report, true).out);
    for (const char* const name :
         {"message", "nextStart", "lastVerdict", "bootId", "summary", "next", "error"})
    {
        EXPECT_TRUE(object.at(name).is_null()) << name;
    }
    EXPECT_NE(Print(report, false).out.find("Last verdict:      none\n"), String::npos);
}

TEST(OutputTest, AFailureGoesToStandardErrorAndJsonStaysAlone)
{
    Report report;
    report.exitCode = ExitCode::TryLater;
    report.summary = "refused\nfor now \x1B[2J";
    report.next = "Wait.";
    report.errorName = "Busy";
    const Printed plain = Print(report, false);
    EXPECT_EQ(plain.out, "");
    EXPECT_EQ(plain.err, "zelupdate: refused\\x0Afor now \\x1B[2J\nNext: Wait.\n");
    const Printed asJson = Print(report, true);
    EXPECT_EQ(asJson.err, plain.err);
    EXPECT_EQ(json::parse(asJson.out).at("exitCode"), 5);
    EXPECT_EQ(json::parse(asJson.out).at("error"), "Busy");
    report.signalNumber = 2;
    EXPECT_EQ(json::parse(Print(report, true).out).at("exitCode"), 130);
}

TEST(OutputTest, NoTextFromOutsideReachesTheTerminalAsItIs)
{
    Report report;
    report.component = MakeState();
    report.facts = FactSet::All;
    const String hostile = "\x1B[31m\xC2\x9B"
                           "2J\r\n\xFF\xFE";
    for (String* const text :
         {&report.component->id, &report.component->message, &report.component->currentVersion,
          &report.component->lastVerdict.reason, &report.summary, &report.next})
    {
        *text = hostile;
    }
    for (const bool asJson : {false, true})
    {
        const String text = Print(report, asJson).out;
        EXPECT_EQ(text.find_first_of("\x1B\r\x07"), String::npos);
        EXPECT_EQ(text.find("\xC2\x9B"), String::npos);
    }
    EXPECT_EQ(json::parse(Print(report, true).out).at("message"), "\x1B[31m\xC2\x9B"
                                                                  "2J\r\n\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(OutputTest, TheNextStepFitsTheState)
{
    const auto describe = [](const char* state, const char* message, const char* pending, bool revertible)
    {
        ComponentState component;
        component.state = state;
        component.message = message;
        component.pendingVersion = pending;
        component.revertible = revertible;
        return DescribeNextStep(component);
    };
    EXPECT_EQ(describe("idle", "", "", false), "'zelupdate install FILE' installs a bundle.");
    EXPECT_EQ(
        describe("idle", "", "1.2", true),
        "'zelupdate install' installs version 1.2; 'zelupdate revert' goes back to the earlier version.");
    EXPECT_NE(describe("failed", "", "", true).find("'zelupdate resume'"), String::npos);
    EXPECT_NE(describe("installing", "Copying", "", false).find("goes on by itself"), String::npos);
    EXPECT_NE(describe("installing", "The device is going to reboot.", "", false).find("After the restart"),
              String::npos);
    EXPECT_NE(describe("installing", "Failed to reboot device. X", "", false).find("by hand"), String::npos);
}

TEST(OutputTest, TimesOutsideOfTheCalendarAreNone)
{
    EXPECT_EQ(Facts::ToTime(0), "");
    EXPECT_EQ(Facts::ToTime(253'402'300'799'999'999), "9999-12-31T23:59:59Z");
    EXPECT_EQ(Facts::ToTime(253'402'300'800'000'000), "");
    EXPECT_EQ(Facts::ToTime(UINT64_MAX), "");
}

} // namespace

} // namespace Zel::Host::Cli
