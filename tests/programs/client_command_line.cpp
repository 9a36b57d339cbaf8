// The command line, and what the user gets to see.

#include "client_support.h"

#include "CommandLine.h"
#include "Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::client; // NOLINT(google-build-using-namespace)

CommandLine read(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "ipseccfgctl");
    return readCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CommandLine, NamesACommandAndItsPolicy)
{
    const std::pair<const char*, norvale::tamber::systemdata::ipseccfg::client::Command> commands[] = {
        {"start", Command::Start},
        {"restart", Command::Restart},
        {"check", Command::Check},
        {"show", Command::Show},
        {"init", Command::Init}};
    for (const auto& [name, command] : commands) {
        const CommandLine line = read({name, "policy.toml"});
        ASSERT_TRUE(line.options.has_value()) << name << ": " << line.text;
        EXPECT_EQ(command, line.options->command) << name;
        EXPECT_EQ("policy.toml", line.options->policyFile) << name;
        EXPECT_EQ(name, line.command);
        EXPECT_STREQ(name, nameOf(command));
    }
}

TEST(CommandLine, OfAShutdownHasNoPolicyButASettingFile)
{
    const CommandLine line = read({"shutdown", "--setting-file", "/run/engine.conf", "--fips"});
    ASSERT_TRUE(line.options.has_value()) << line.text;
    EXPECT_EQ(Command::Shutdown, line.options->command);
    EXPECT_EQ("/run/engine.conf", line.options->settingFile);
    EXPECT_TRUE(line.options->fips);
}

TEST(CommandLine, OfADiffHasTwoPolicies)
{
    const CommandLine line = read({"diff", "old.toml", "new.toml"});
    ASSERT_TRUE(line.options.has_value()) << line.text;
    EXPECT_EQ(Command::Diff, line.options->command);
    EXPECT_EQ("old.toml", line.options->policyFile);
    EXPECT_EQ("new.toml", line.options->newPolicyFile);
    EXPECT_EQ("NEW is required", read({"diff", "old.toml"}).text);
}

TEST(CommandLine, OfAnInitMayLeaveTheFileOut)
{
    const CommandLine line = read({"init"});
    ASSERT_TRUE(line.options.has_value()) << line.text;
    EXPECT_EQ("policy.toml", line.options->policyFile);
    EXPECT_EQ("-", read({"init", "-"}).options.value().policyFile);
}

TEST(CommandLine, HasNothingSetThatWasNotGiven)
{
    const Options options = read({"show", "policy.toml"}).options.value();
    EXPECT_FALSE(options.json || options.verbose || options.xml || options.secrets || options.fips);
    EXPECT_FALSE(options.server.has_value());
    EXPECT_EQ("", options.settingFile);
}

TEST(CommandLine, TakesCommonOptionsBeforeAndAfterTheCommand)
{
    for (const std::vector<const char*>& arguments :
         {std::vector<const char*>{"--json", "--verbose", "--server", "/s", "show", "--xml", "--secrets",
                                   "p"},
          std::vector<const char*>{"show", "p", "--secrets", "--xml", "--server", "/s", "--verbose",
                                   "--json"}}) {
        const CommandLine line = read(arguments);
        ASSERT_TRUE(line.options.has_value()) << line.text;
        EXPECT_TRUE(line.options->json && line.options->verbose && line.options->xml &&
                    line.options->secrets);
        EXPECT_EQ("/s", line.options->server);
    }
}

struct Mistake {
    std::vector<const char*> arguments;
    const char* text;
};

TEST(CommandLine, ThatIsWrongIsRefusedWithTheReason)
{
    const Mistake mistakes[] = {
        {{}, "a command is needed, one of start, restart, shutdown, check, show, diff, init, status"},
        {{"stat", "p"},
         "a command is needed, one of start, restart, shutdown, check, show, diff, init, status (did you "
         "mean "
         "'status'?)"},
        {{"strat", "p"},
         "a command is needed, one of start, restart, shutdown, check, show, diff, init, status (did you "
         "mean "
         "'start'?)"},
        {{"stop"},
         "a command is needed, one of start, restart, shutdown, check, show, diff, init, status (did you "
         "mean "
         "'shutdown'?)"},
        {{"--server"}, "--server: 1 required PATH missing"},
        {{"start"}, "POLICY is required"},
        {{"start", "a", "b"}, "The following argument was not expected: b"},
        {{"start", "a", "check", "b"}, "The following arguments were not expected: b check"},
        {{"start", "--xml", "a"}, "The following argument was not expected: --xml"},
        {{"check", "--fips", "a"}, "The following argument was not expected: --fips"},
        {{"shutdown", "a"}, "The following argument was not expected: a"},
        {{"check", "a", "--\x1b[2J"}, "The following argument was not expected: --?[2J"},
        {{"shutdown", "--setting-file", "engine.conf"},
         "--setting-file: must be an absolute path, not 'engine.conf'"},
        {{"shutdown", "--setting-file", "/a\n"},
         "--setting-file: '/a?' holds characters that cannot be sent"},
    };
    for (const Mistake& mistake : mistakes) {
        const CommandLine line = read(mistake.arguments);
        EXPECT_FALSE(line.options.has_value());
        EXPECT_TRUE(line.isError);
        EXPECT_EQ(mistake.text, line.text);
    }
}

TEST(CommandLine, KnowsWhatOtherToolsCallItsCommands)
{
    const std::pair<const char*, const char*> names[] = {
        {"up", "start"},      {"load", "start"},    {"reload", "restart"},
        {"stop", "shutdown"}, {"down", "shutdown"}, {"verify", "check"},
        {"list", "show"},     {"compare", "diff"},  {"new", "init"},
    };
    for (const auto& [name, command] : names)
        EXPECT_EQ("a command is needed, one of start, restart, shutdown, check, show, diff, init, status "
                  "(did you mean '" +
                      std::string(command) + "'?)",
                  read({name, "p"}).text);
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

TEST(Help, FitsAScreenAndHasExamples)
{
    const CommandLine line = read({"--help"});
    EXPECT_FALSE(line.options.has_value());
    EXPECT_FALSE(line.isError);
    EXPECT_LE(linesOf(line.text).size(), 23U); // and the next prompt
    for (const std::string& each : linesOf(line.text))
        EXPECT_LE(each.size(), 80U) << each;
    for (const char* const text :
         {"Examples:", "start", "restart", "shutdown", "check", "show", "diff", "init", "--json", "status",
          "--verbose", "--server", "--version", "Exit codes:"})
        EXPECT_NE(std::string::npos, line.text.find(text)) << text;
}

TEST(Help, OfACommandTellsItsOwnOptions)
{
    const CommandLine line = read({"show", "--help"});
    EXPECT_FALSE(line.isError);
    for (const char* const text : {"--xml", "--secrets", "POLICY", "--json"})
        EXPECT_NE(std::string::npos, line.text.find(text)) << text;
}

tests::Printed printed(const Outcome& outcome, const std::vector<const char*>& arguments)
{
    return tests::printed(outcome, read(arguments).options.value());
}

TEST(Report, TellsTheServersDetailOfASuccess)
{
    EXPECT_EQ("started: engine 7 is ready\n",
              printed({Status::Success, "engine 7 is ready", {}, {}}, {"start", "p"}).out);
    EXPECT_EQ("restarted: fine\n", printed({Status::Success, "fine", {}, {}}, {"restart", "p"}).out);
    EXPECT_EQ("shut down\n", printed({Status::Success, "", {}, {}}, {"shutdown"}).out);
}

TEST(Report, SaysOfASuccessNothingTwice)
{
    EXPECT_EQ("started\n", printed({Status::Success, "the engine was started", {}, {}}, {"start", "p"}).out);
    EXPECT_EQ(
        "restarted\n",
        printed({Status::Success, "the engine took over the new settings", {}, {}}, {"restart", "p"}).out);
    EXPECT_EQ("shut down\n",
              printed({Status::Success, "the engine was shut down", {}, {}}, {"shutdown"}).out);
    EXPECT_THAT(printed({Status::Success, "the engine was started", {}, {}}, {"start", "--json", "p"}).out,
                testing::HasSubstr("\"detail\": \"the engine was started\""));
}

TEST(Report, TellsWhyTheServerRefused)
{
    const tests::Printed text = printed({Status::Failure, "already running", {}, {}}, {"start", "p"});
    EXPECT_EQ("", text.out);
    EXPECT_EQ("ipseccfgctl: start: refused by the server: already running\n", text.err);
}

TEST(Report, TellsWhatToDoNext)
{
    EXPECT_EQ(
        "ipseccfgctl: start: refused by the server: the engine is already running; 'ipseccfgctl restart "
        "POLICY' makes it take over another policy\n",
        printed({Status::Failure, "the engine is already running", {}, {}}, {"start", "p"}).err);
    EXPECT_EQ(
        "ipseccfgctl: restart: refused by the server: the engine is not running; 'ipseccfgctl start POLICY' "
        "starts it\n",
        printed({Status::Failure, "the engine is not running", {}, {}}, {"restart", "p"}).err);
    EXPECT_EQ("ipseccfgctl: shutdown: refused by the server: the engine is not running\n",
              printed({Status::Failure, "the engine is not running", {}, {}}, {"shutdown"}).err);
}

TEST(Report, LetsNoControlCharacterOfTheServerThrough)
{
    EXPECT_EQ("started: a?[2Jb\n", printed({Status::Success, "a\x1b[2Jb", {}, {}}, {"start", "p"}).out);
    EXPECT_EQ("ipseccfgctl: start: refused by the server: a?b\n",
              printed({Status::Failure, "a\rb", {}, {}}, {"start", "p"}).err);
}

TEST(Report, TellsTheProblemsOfAPolicyAndHowManyThereAre)
{
    const std::string file = "dir/p\x1b.toml";
    const Outcome outcome{Status::Invalid,
                          "the policy has problems",
                          {{{3, 14}, "a.b", "is wrong", file}, {{4, 1}, "", "x", file}},
                          {}};
    EXPECT_EQ("dir/p?.toml:3:14: a.b: is wrong\n"
              "dir/p?.toml:4:1: x\n"
              "dir/p?.toml: 2 problems\n",
              printed(outcome, {"check", file.c_str()}).err);
}

TEST(Report, SaysThatAPolicyWithProblemsWasNotSent)
{
    const Outcome outcome{
        Status::Invalid, "the policy has problems", {{{3, 14}, "a.b", "is wrong", "p"}}, {}};
    EXPECT_EQ("p:3:14: a.b: is wrong\np: 1 problem, nothing was sent\n",
              printed(outcome, {"start", "p"}).err);
}

TEST(Report, TellsTheWholeAnswerOnlyIfAskedTo)
{
    const Outcome outcome{Status::Success, "fine", {}, "<methodResponse/>\n"};
    EXPECT_EQ("started: fine\n", printed(outcome, {"start", "p"}).out);
    EXPECT_EQ("<methodResponse/>\nstarted: fine\n", printed(outcome, {"start", "p", "--verbose"}).out);
}

TEST(Report, KeepsTheWholeAnswerApartFromJson)
{
    const tests::Printed text =
        printed({Status::Success, "fine", {}, "<methodResponse/>\n"}, {"start", "p", "-v", "--json"});
    EXPECT_EQ("<methodResponse/>\n", text.err);
    EXPECT_EQ("fine", nlohmann::json::parse(text.out).at("detail"));
}

TEST(Report, IsOneObjectInJson)
{
    const Outcome outcome{Status::Invalid,
                          "the policy has problems",
                          {{{3, 14}, "a.b", "is \"wrong\"", "p"}, {{4, 1}, "", "x", "p"}},
                          {}};
    const tests::Printed text = printed(outcome, {"check", "p", "--json"});
    EXPECT_EQ(nlohmann::json::parse(R"({"schema": 1, "command": "check", "status": "invalid",
                                        "detail": "the policy has problems",
                                        "problems": [{"file": "p", "line": 3, "column": 14, "key": "a.b", "message": "is \"wrong\""},
                                                     {"file": "p", "line": 4, "column": 1, "key": "", "message": "x"}]})"),
              nlohmann::json::parse(text.out));
    EXPECT_EQ("", text.err);
}

TEST(Report, NamesEachStatusInJson)
{
    const std::pair<Status, const char*> names[] = {{Status::Success, "success"},
                                                    {Status::Failure, "failure"},
                                                    {Status::Different, "different"},
                                                    {Status::Invalid, "invalid"},
                                                    {Status::NoAnswer, "no-answer"}};
    for (const auto& [status, name] : names)
        EXPECT_EQ(
            name,
            nlohmann::json::parse(printed({status, "", {}, {}}, {"shutdown", "--json"}).out).at("status"));
}

TEST(Report, IsJsonWhateverTheBytesOfADetail)
{
    EXPECT_EQ("a\uFFFD",
              nlohmann::json::parse(printed({Status::Failure, "a\xff", {}, {}}, {"shutdown", "--json"}).out)
                  .at("detail"));
}

TEST(ExitCodes, AreOneAStatus)
{
    EXPECT_EQ(0, exitCodeOf(Status::Success));
    EXPECT_EQ(1, exitCodeOf(Status::Failure));
    EXPECT_EQ(1, exitCodeOf(Status::Different));
    EXPECT_EQ(2, exitCodeOf(Status::Invalid));
    EXPECT_EQ(3, exitCodeOf(Status::NoAnswer));
}

} // namespace
