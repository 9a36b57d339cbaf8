// What reaches a terminal: no character that it would obey, whoever wrote it.

#include "client_support.h"

#include "Control.h"
#include "Report.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::client; // NOLINT(google-build-using-namespace)

// "Control sequence introducer" as one character (U+009B), with which some terminals clear the screen: CSI 2 J.
const std::string CSI = "\xC2\x9B";
const std::string DEL = "\x7F";
const std::string ESCAPE = "\x1B";
const std::string NASTY = "a" + CSI + "2Jb" + DEL + "c";

// Whether a terminal would obey a character of the text, other than the ends of its lines.
bool isObeyed(const std::string& text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        if ((byte < 0x20 && byte != '\n') || byte == 0x7F || (byte == 0xC2 && next >= 0x80 && next <= 0x9F))
            return true;
    }
    return false;
}

void expectHarmless(const tests::Printed& text, const std::string& what)
{
    EXPECT_FALSE(isObeyed(text.out)) << what << ": " << text.out;
    EXPECT_FALSE(isObeyed(text.err)) << what << ": " << text.err;
}

TEST(TerminalSafety, HoldsForWhatTheServerSays)
{
    for (const Command command : {Command::Start, Command::Restart, Command::Shutdown, Command::Status})
        for (const Status status : {Status::Success, Status::Failure, Status::NoAnswer})
            for (const bool inJson : {false, true}) {
                Options options;
                options.command = command;
                options.json = inJson;
                options.verbose = true;
                const Outcome outcome{
                    status, NASTY, {}, "<methodResponse>\n<string>" + NASTY + "</string></methodResponse>\n"};
                expectHarmless(tests::printed(outcome, options), nameOf(command));
            }
}

TEST(TerminalSafety, LeavesTheWholeAnswerXmlOfTheSameMeaning)
{
    Options options;
    options.command = Command::Start;
    options.verbose = true;
    EXPECT_EQ(
        "<a>\n  <b>x&#x9B;y&#x80;z&#x7F;\u00A0\u00e4</b>\n</a>\nstarted: fine\n",
        tests::printed({Status::Success, "fine", {}, "<a>\n  <b>x\u009By\u0080z\x7F\u00A0\u00e4</b>\n</a>\n"},
                       options)
            .out);
}

TEST(TerminalSafety, LeavesJsonOfTheSameMeaning)
{
    Options options;
    options.command = Command::Start;
    options.json = true;
    const std::string text = tests::printed({Status::Success, NASTY + "\u00e4", {}, {}}, options).out;
    EXPECT_EQ(NASTY + "\u00e4", nlohmann::json::parse(text).at("detail"));
}

TEST(TerminalSafety, HoldsForWhatTheEngineSays)
{
    RuleStatus rule{NASTY, NASTY, NASTY, 1, NASTY, NASTY, TunnelStatus()};
    rule.tunnel->peer = NASTY;
    rule.tunnel->suite = NASTY;
    for (const bool inJson : {false, true}) {
        Options options;
        options.command = Command::Status;
        options.json = inJson;
        expectHarmless(tests::printed({Status::Success, "1 rule in force", {}, {}, {{rule}}}, options),
                       "status");
    }
}

class NastyPolicy : public testing::TestWithParam<std::string> {
protected:
    tests::Folder folder;
};

TEST_P(NastyPolicy, HarmsNoTerminal)
{
    const std::string file = folder.write("policy-" + CSI + ".toml", GetParam());
    const std::string good = folder.write("good.toml", tests::ENGINE);
    for (const Command command : {Command::Check, Command::Show, Command::Diff, Command::Start})
        for (const bool inJson : {false, true})
            for (const bool xml : {false, true}) {
                Options options;
                options.command = command;
                options.policyFile = file;
                options.newPolicyFile = good;
                options.json = inJson;
                options.xml = xml;
                options.secrets = true;
                options.server = "/nonexistent/" + CSI;
                expectHarmless(tests::printed(perform(options), options), nameOf(command));
            }
}

const std::string NASTY_POLICIES[] = {
    tests::ENGINE,
    tests::ENGINE + "# " + CSI + "\n",
    tests::ENGINE + "'" + CSI + "' = 1\n",
    tests::ENGINE + "\"\\u009b\" = 1\n",
    tests::ENGINE + CSI + "\n",
    tests::ENGINE + "namespace = \"\\u009B2J\"\n",
    tests::ENGINE + "namespace = \"" + CSI + "\"\n",
    tests::ENGINE + "[\"" + CSI + "\".b]\nc = 1\n",
    "[engine]\nsetting-file = \"/run/" + NASTY + "\"\n",
    "[engine]\nsetting-file = \"/run/" + CSI + "\"\n",
    tests::withTransformAnd("authentication = \"PSK\"\npsk = \"" + CSI + "\"\n"),
    tests::withRuleAnd("identity-type = \"dn\"\nsource-identity = \"CN=" + CSI +
                       "\"\ndestination-identity = \"CN=\\u0085\"\n"),
    tests::ENGINE + "[[certificate]]\nkind = \"" + CSI + "\"\ncertificate = \"/" + CSI + "\"\n",
    ESCAPE + "[2J",
};

INSTANTIATE_TEST_SUITE_P(Policies, NastyPolicy, testing::ValuesIn(NASTY_POLICIES));

TEST(TerminalSafety, HoldsForTheNameOfANewPolicy)
{
    const tests::Folder folder;
    Options options;
    options.command = Command::Init;
    options.policyFile = folder / ("new-" + CSI + ".toml");
    expectHarmless(tests::printed(perform(options), options), "init");
    expectHarmless(tests::printed(perform(options), options), "init again");
}

} // namespace
