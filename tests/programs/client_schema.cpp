// What is printed with --json is as the schema says that users rely on.

#include "client_support.h"

#include "Control.h"
#include "Report.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sys/wait.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::client; // NOLINT(google-build-using-namespace)
using nlohmann::json;

constexpr int NO_VALIDATOR = 77;

struct Verdict {
    int status;
    std::string complaints;
};

Verdict validated(const std::vector<json>& documents)
{
    const tests::Folder folder;
    std::string lines;
    for (const json& document : documents)
        lines += document.dump() + "\n";
    const std::string command =
        "python3 -W ignore '" VALIDATOR "' '" SCHEMA "' <'" + folder.write("documents", lines) + "' 2>&1";
    FILE* const pipe = ::popen(command.c_str(), "r");
    Verdict verdict{-1, ""};
    for (int byte = 0; (byte = std::fgetc(pipe)) != EOF;)
        verdict.complaints += static_cast<char>(byte);
    verdict.status = WEXITSTATUS(::pclose(pipe));
    return verdict;
}

json printed(const Outcome& outcome, Command command)
{
    Options options;
    options.command = command;
    options.json = true;
    return json::parse(tests::printed(outcome, options).out);
}

json performed(Command command, const std::string& file, const std::string& other = "")
{
    Options options;
    options.command = command;
    options.policyFile = file;
    options.newPolicyFile = other;
    options.server = "/nonexistent/server";
    return printed(perform(options), command);
}

json ofCommandLine(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "ipseccfgctl");
    std::ostringstream out;
    std::ostringstream err;
    report(readCommandLine(static_cast<int>(arguments.size()), arguments.data()), out, err);
    return json::parse(out.str());
}

std::vector<RuleStatus> rulesOfEachState()
{
    RuleStatus up{"use", "192.0.2.1", "192.0.2.2", 10, "up", "", TunnelStatus()};
    up.tunnel->bytesIn = 18446744073709551615U;
    return {up,
            {"use", "192.0.2.1", "192.0.2.3", 0, "trapped", "", {}},
            {"bypass", "192.0.2.1", "192.0.2.4", 99, "in force", "", {}},
            {"discard", "192.0.2.1", "192.0.2.5", 1, "down", "the kernel has no policy for it", {}}};
}

class Schema : public testing::Test {
protected:
    void SetUp() override
    {
        if (validated({}).status == NO_VALIDATOR)
            GTEST_SKIP() << "there is no python3-jsonschema";
        ASSERT_EQ(0, validated({}).status) << validated({}).complaints;
    }

    tests::Folder folder_;
    std::string good_ = folder_.write("good.toml", tests::ENGINE);
    std::string other_ = folder_.write("other.toml", tests::withRuleAnd(""));
    std::string bad_ = folder_.write("bad.toml", tests::ENGINE + "a = 1\n");
    std::string broken_ = folder_.write("broken.toml", "[engine");
};

TEST_F(Schema, DescribesWhatEachCommandPrints)
{
    const Verdict verdict = validated({
        performed(Command::Check, good_),
        performed(Command::Check, bad_),
        performed(Command::Check, broken_),
        performed(Command::Check, "/nonexistent/policy.toml"),
        performed(Command::Show, good_),
        performed(Command::Diff, good_, good_),
        performed(Command::Diff, good_, other_),
        performed(Command::Diff, other_, good_),
        performed(Command::Diff, bad_, broken_),
        performed(Command::Init, "-"),
        performed(Command::Init, good_),
        performed(Command::Start, good_),
        performed(Command::Restart, bad_),
        performed(Command::Shutdown, ""),
        performed(Command::Status, ""),
        printed({Status::Success, "the engine was started", {}, "<methodResponse/>"}, Command::Start),
        printed({Status::Failure, "no", {}, {}}, Command::Restart),
        printed({Status::Success, "4 rules in force", {}, {}, rulesOfEachState()}, Command::Status),
        printed({Status::Success, "0 rules in force", {}, {}, std::vector<RuleStatus>()}, Command::Status),
        ofCommandLine({"--json"}),
        ofCommandLine({"start", "--json"}),
        ofCommandLine({"status", "a", "--json"}),
    });
    EXPECT_EQ(0, verdict.status);
    EXPECT_EQ("", verdict.complaints);
}

// A schema that lets everything through would prove nothing.
TEST_F(Schema, RefusesWhatIsNeverPrinted)
{
    const json success = performed(Command::Check, good_);
    const json problems = performed(Command::Check, bad_);
    const json differences = performed(Command::Diff, good_, other_);
    const json status =
        printed({Status::Success, "4 rules in force", {}, {}, rulesOfEachState()}, Command::Status);
    const std::pair<json, json> mistakes[] = {
        {success, {{"schema", 2}}},
        {success, {{"command", "stop"}}},
        {success, {{"status", "ok"}}},
        {success, {{"status", "different"}, {"command", "diff"}}},
        {success, {{"detail", nullptr}}},
        {success, {{"problems", nullptr}}},
        {success, {{"more", 1}}},
        {problems, {{"status", "success"}}},
        {differences, {{"differences", nullptr}}},
        {differences, {{"differences", json::array()}}},
        {differences, {{"command", "check"}}},
        {status, {{"rules", nullptr}}},
        {status, {{"rules", {{{"state", "up"}}}}}},
    };
    std::vector<json> documents;
    for (const auto& [document, patch] : mistakes) {
        documents.push_back(document);
        documents.back().merge_patch(patch);
    }
    const std::string complaints = "\n" + validated(documents).complaints;
    for (std::size_t i = 0; i < documents.size(); ++i)
        EXPECT_NE(std::string::npos, complaints.find("\n" + std::to_string(i + 1) + ": $")) << documents[i];
}

void collectMembers(const json& schema, std::set<std::string>& members)
{
    for (const auto& [key, value] : schema.items()) {
        if (key == "properties")
            for (const auto& [member, description] : value.items())
                members.insert(member);
        if (value.is_structured())
            collectMembers(value, members);
    }
}

TEST(SchemaManual, NamesEachMember)
{
    std::string page = tests::contentsOf(MANUALS "/ipseccfgctl.1");
    page = std::regex_replace(page, std::regex("\\\\-"), "-");
    page = page.substr(page.find(".SH JSON OUTPUT"), page.find(".SH EXIT") - page.find(".SH JSON OUTPUT"));
    std::set<std::string> members;
    collectMembers(json::parse(tests::contentsOf(SCHEMA)), members);
    EXPECT_LT(20U, members.size());
    for (const std::string& member : members)
        EXPECT_TRUE(std::regex_search(page, std::regex("\n\\.BR? ([^\n]*[ \"])?" + member + "[ \n]")))
            << member;
}

} // namespace
