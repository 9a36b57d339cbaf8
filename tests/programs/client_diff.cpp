// What a change of a policy means, and the policy to begin with.

#include "client_support.h"

#include "Control.h"
#include "PolicyDiff.h"
#include "PolicyKeys.h"
#include "Report.h"
#include "StarterPolicy.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::client; // NOLINT(google-build-using-namespace)
using testing::HasSubstr;
using testing::Not;

std::string rule(const std::string& action, const std::string& source, const std::string& priority,
                 const std::string& more = "")
{
    return "[[rule]]\naction = \"" + action + "\"\nsource = \"" + source +
           "\"\ndestination = \"192.0.2.2\"\npriority = " + priority + "\n" + more;
}

std::string transform(const std::string& id, const std::string& more = "")
{
    return "[[phase1.proposal.transform]]\nid = " + id +
           "\nencryption = \"AES\"\nkey-length = 256\nhash = \"SHA256\"\nlifetime = 28800\n" + more;
}

// A policy with these transforms in phase 1 and, behind both phases, the rest.
std::string withPhase1(const std::string& phase1, const std::string& rest = "")
{
    return tests::ENGINE + "[[phase1.proposal]]\nid = 1\n" + phase1 +
           "[[phase2.proposal]]\nid = 1\n[[phase2.proposal.transform]]\nid = 1\nencryption = \"AES\"\n"
           "key-length = 256\nhash = \"SHA256\"\nlifetime = 3600\n" +
           rest;
}

std::string withRules(const std::string& rules)
{
    return withPhase1(transform("1"), rules);
}

std::string withKey(const std::string& key)
{
    return withPhase1(transform("1", "authentication = \"PSK\"\npsk = \"" + key + "\"\n"));
}

Differences differencesOf(const std::string& before, const std::string& after)
{
    return differencesBetween(tests::policyOf(before), tests::policyOf(after));
}

std::string diff(const std::string& before, const std::string& after)
{
    return viewOf(differencesOf(before, after));
}

TEST(PolicyDiff, OfPoliciesThatMeanTheSameIsEmpty)
{
    const std::string one = rule("use", "192.0.2.1", "10");
    const std::string other = rule("bypass", "192.0.2.7", "20");
    EXPECT_EQ("", diff(withRules(one + other), withRules(one + other)));
    EXPECT_EQ("", diff(withRules(one + other), "# a comment\n\n" + withRules(other + one)));
}

TEST(PolicyDiff, HasAColourForEachKindOfChange)
{
    const Differences differences = {{Difference::Change::Added, "a", "", "new"},
                                     {Difference::Change::Removed, "b", "old", ""},
                                     {Difference::Change::Changed, "c", "old", "new"},
                                     {Difference::Change::Moved, "d", "old", "new"}};
    EXPECT_EQ("\x1b[32m+ a\x1b[0m: new\n\x1b[31m- b\x1b[0m: old\n\x1b[33m~ c\x1b[0m: old\n  now new\n"
              "\x1b[34m> d\x1b[0m: old\n  now new\n",
              viewOf(differences, true));
}

struct Change {
    const char* name;
    std::string before;
    std::string after;
    const char* text;
};

std::ostream& operator<<(std::ostream& out, const Change& change)
{
    return out << change.before << "becomes\n" << change.after;
}

class PolicyDiffOf : public testing::TestWithParam<Change> {};

TEST_P(PolicyDiffOf, IsToldInALine)
{
    EXPECT_EQ(GetParam().text, diff(GetParam().before, GetParam().after));
}

const Change CHANGES[] = {
    {"AnAddedRule", withRules(""), withRules(rule("use", "192.0.2.1", "10")),
     "+ rule 192.0.2.1 -> 192.0.2.2: use, priority 10\n"},
    {"ARemovedRule", withRules(rule("discard", "192.0.2.1", "10")), withRules(""),
     "- rule 192.0.2.1 -> 192.0.2.2: discard, priority 10\n"},
    {"AnActionThatChanged", withRules(rule("bypass", "192.0.2.1", "10")),
     withRules(rule("discard", "192.0.2.1", "10")),
     "~ rule 192.0.2.1 -> 192.0.2.2: bypass, priority 10\n  now discard, priority 10\n"},
    {"IdentitiesThatCame", withRules(rule("use", "192.0.2.1", "10")),
     withRules(rule("use", "192.0.2.1", "10",
                    "identity-type = \"email\"\nsource-identity = \"a@b\"\n"
                    "destination-identity = \"c@d\"\n")),
     "~ rule 192.0.2.1 -> 192.0.2.2: use, priority 10\n  now use, email a@b -> c@d, priority 10\n"},
    {"ARuleOfAnotherPriority", withRules(rule("use", "192.0.2.1", "10")),
     withRules(rule("use", "192.0.2.1", "11")),
     "> rule 192.0.2.1 -> 192.0.2.2: priority 10\n  now priority 11\n"},
    {"RulesOfOnePriorityInAnotherOrder",
     withRules(rule("bypass", "192.0.2.7", "10") + rule("discard", "192.0.2.0/24", "10")),
     withRules(rule("discard", "192.0.2.0/24", "10") + rule("bypass", "192.0.2.7", "10")),
     "> other rules, of priority 10, order: rule 192.0.2.7 -> 192.0.2.2; rule 192.0.2.0/24 -> 192.0.2.2\n"
     "  now rule 192.0.2.0/24 -> 192.0.2.2; rule 192.0.2.7 -> 192.0.2.2\n"},
    {"ASecondRuleForTheSameAddresses", withRules(rule("use", "192.0.2.1", "10")),
     withRules(rule("use", "192.0.2.1", "10") + rule("bypass", "192.0.2.1", "9")),
     "+ rule 192.0.2.1 -> 192.0.2.2 (2): bypass, priority 9\n"},
    {"AnAddedTransform", withPhase1(transform("1")),
     withPhase1(transform("1") + transform("2", "group = 14\n")),
     "+ phase 1, proposal 1, transform 2: AES 256 bits, SHA256, group 14, for 28800 s\n"},
    {"ARemovedTransform", withPhase1(transform("1") + transform("2")), withPhase1(transform("2")),
     "- phase 1, proposal 1, transform 1: AES 256 bits, SHA256, for 28800 s\n"},
    {"AnAttributeOfATransform", withPhase1(transform("1")), withPhase1(transform("1", "group = 14\n")),
     "~ phase 1, proposal 1, transform 1: AES 256 bits, SHA256, for 28800 s\n"
     "  now AES 256 bits, SHA256, group 14, for 28800 s\n"},
    {"TransformsInAnotherOrder", withPhase1(transform("1") + transform("2") + transform("3")),
     withPhase1(transform("2") + transform("1") + transform("4")),
     "- phase 1, proposal 1, transform 3: AES 256 bits, SHA256, for 28800 s\n"
     "+ phase 1, proposal 1, transform 4: AES 256 bits, SHA256, for 28800 s\n"
     "> phase 1, order of preference: phase 1, proposal 1, transform 1; phase 1, proposal 1, transform 2\n"
     "  now phase 1, proposal 1, transform 2; phase 1, proposal 1, transform 1\n"},
    {"AKey", withKey("swordfish"), withKey("tuna"),
     "~ phase 1, proposal 1, transform 1: AES 256 bits, SHA256, PSK ********, for 28800 s\n"
     "  now AES 256 bits, SHA256, PSK ********, for 28800 s, with another key\n"},
    {"TheSecondPhase", withRules(""), tests::ENGINE + "[[phase1.proposal]]\nid = 1\n" + transform("1"),
     "- phase 2, proposal 1, transform 1: AES 256 bits, SHA256, for 3600 s\n"},
    {"EachSettingOfTheEngine", tests::ENGINE,
     "[engine]\nsetting-file = \"/run/e.conf\"\nfips = true\nnamespace = \"blue\"\n",
     "~ engine, setting-file: /run/engine.conf\n  now /run/e.conf\n"
     "~ engine, fips: false\n  now true\n"
     "~ engine, namespace: none\n  now blue\n"},
    {"AnAddedCertificate", tests::ENGINE,
     tests::ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/dev/null\"\n",
     "+ certificate root-ca /dev/null: without a private key\n"},
    {"ThePrivateKeyOfACertificate",
     tests::ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/dev/null\"\n",
     tests::ENGINE +
         "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/dev/null\"\nprivate-key = \"/dev/full\"\n",
     "~ certificate root-ca /dev/null: without a private key\n  now private key /dev/full\n"},
};

std::string nameOfChange(const testing::TestParamInfo<Change>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Changes, PolicyDiffOf, testing::ValuesIn(CHANGES), nameOfChange);

TEST(PolicyDiff, OfManyRulesTakesNoLongerThanReadingThem)
{
    std::string rules;
    for (int i = 0; i < 20000; ++i)
        rules += rule("bypass", "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250), "10");
    EXPECT_EQ(20000U, differencesOf(tests::ENGINE, tests::ENGINE + rules).size());
}

struct Performed : tests::Printed {
    Outcome outcome;
};

Performed run(const Options& options)
{
    const Outcome outcome = perform(options);
    return {tests::printed(outcome, options), outcome};
}

class DiffCommand : public testing::Test {
protected:
    Performed compare(const std::string& before, const std::string& after, bool json = false) const
    {
        Options options;
        options.command = Command::Diff;
        options.json = json;
        options.policyFile = folder.write("old.toml", before);
        options.newPolicyFile = folder.write("new.toml", after);
        return run(options);
    }
    tests::Folder folder;
};

TEST_F(DiffCommand, EndsWith0IfThePoliciesMeanTheSame)
{
    const Performed text = compare(withRules(""), withRules(""));
    EXPECT_EQ(0, exitCodeOf(text.outcome.status));
    EXPECT_EQ("the policies mean the same\n", text.out);
}

TEST_F(DiffCommand, EndsWith1IfTheyDiffer)
{
    const Performed text = compare(withRules(""), withRules(rule("use", "192.0.2.1", "10")));
    EXPECT_EQ(1, exitCodeOf(text.outcome.status));
    EXPECT_EQ("+ rule 192.0.2.1 -> 192.0.2.2: use, priority 10\n", text.out);
    EXPECT_EQ("", text.err);
}

TEST_F(DiffCommand, EndsWith2AndTheProblemsOfBothIfBothAreBad)
{
    const Performed text = compare("x", tests::ENGINE + "a = 1\n");
    EXPECT_EQ(2, exitCodeOf(text.outcome.status));
    EXPECT_THAT(text.err, HasSubstr(folder / "old.toml:1:2: "));
    EXPECT_THAT(text.err, HasSubstr(folder / "old.toml: 1 problem\n"));
    EXPECT_THAT(text.err, HasSubstr(folder / "new.toml:3:1: engine.a: "));
    EXPECT_THAT(text.err, HasSubstr(folder / "new.toml: 1 problem\n"));
}

TEST_F(DiffCommand, EndsWith2IfEitherIsBad)
{
    EXPECT_EQ(2, exitCodeOf(compare("x", withRules("")).outcome.status));
    EXPECT_EQ(2, exitCodeOf(compare(withRules(""), "x").outcome.status));
}

TEST_F(DiffCommand, ListsTheDifferencesInJson)
{
    const auto json =
        nlohmann::json::parse(compare(withRules(""), withRules(rule("use", "192.0.2.1", "10")), true).out);
    EXPECT_EQ("different", json.at("status"));
    EXPECT_EQ(nlohmann::json::parse(R"([{"change": "added", "what": "rule 192.0.2.1 -> 192.0.2.2",
                                         "before": "", "after": "use, priority 10"}])"),
              json.at("differences"));
}

TEST_F(DiffCommand, ShowsNoKeyInAnyForm)
{
    for (const bool json : {false, true}) {
        const Performed text = compare(withKey("swordfish"), withKey("tuna"), json);
        EXPECT_THAT(text.out, HasSubstr("with another key"));
        EXPECT_THAT(text.out + text.err, Not(HasSubstr("swordfish")));
        EXPECT_THAT(text.out + text.err, Not(HasSubstr("tuna")));
    }
}

class InitCommand : public testing::Test {
protected:
    static Performed init(const std::string& path)
    {
        Options options;
        options.command = Command::Init;
        options.policyFile = path;
        return run(options);
    }
    tests::Folder folder;
};

TEST_F(InitCommand, WritesAPolicyWithoutProblems)
{
    const std::string path = folder / "a policy.toml";
    const Performed text = init(path);
    EXPECT_EQ(0, exitCodeOf(text.outcome.status));
    EXPECT_EQ("wrote '" + path + "'; edit it, then: ipseccfgctl check '" + path + "'\n", text.out);
    EXPECT_EQ(std::vector<std::string>{}, tests::problemsOf(tests::contentsOf(path)));
}

TEST_F(InitCommand, LetsTheOwnerAloneReadIt)
{
    init(folder / "policy.toml");
    struct stat status = {};
    ASSERT_EQ(0, ::stat((folder / "policy.toml").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);
}

TEST_F(InitCommand, MakesADifferentKeyEachTime)
{
    const std::regex line("\npsk = \"([0-9a-f]{64})\"\n");
    std::set<std::string> keys;
    std::set<std::string> rests;
    for (int i = 0; i < 2; ++i) {
        const std::string text = init("-").out;
        std::smatch match;
        ASSERT_TRUE(std::regex_search(text, match, line)) << text;
        keys.insert(match[1]);
        rests.insert(std::regex_replace(text, line, ""));
    }
    EXPECT_EQ(2U, keys.size());
    EXPECT_EQ(1U, rests.size());
}

// Not one digit of a key is known beforehand.
TEST_F(InitCommand, MakesAllOfAKeyAtRandom)
{
    const std::regex line("\npsk = \"([0-9a-f]{64})\"\n");
    std::vector<std::set<char>> digits(64);
    for (int i = 0; i < 32; ++i) {
        const std::string text = starterPolicy();
        std::smatch match;
        ASSERT_TRUE(std::regex_search(text, match, line)) << text;
        for (std::size_t place = 0; place < digits.size(); ++place)
            digits[place].insert(match.str(1)[place]);
    }
    for (const std::set<char>& used : digits)
        EXPECT_LT(1U, used.size());
}

TEST_F(InitCommand, NeverWritesOverAFile)
{
    const std::string there = folder.write("policy.toml", "mine");
    const Performed text = init(there);
    EXPECT_EQ(2, exitCodeOf(text.outcome.status));
    EXPECT_EQ("ipseccfgctl: init: '" + there +
                  "' is there already, nothing was written; name a new file, or '-' to see it\n",
              text.err);
    EXPECT_EQ("mine", tests::contentsOf(there));
}

TEST_F(InitCommand, NeverWritesThroughALink)
{
    std::filesystem::create_symlink(folder / "elsewhere", folder / "policy.toml");
    EXPECT_EQ(2, exitCodeOf(init(folder / "policy.toml").outcome.status));
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
}

TEST_F(InitCommand, TellsWhyAFileCannotBeWritten)
{
    const std::string path = folder / "missing/policy.toml";
    EXPECT_EQ("ipseccfgctl: init: cannot write '" + path + "': No such file or directory\n", init(path).err);
}

TEST_F(InitCommand, LeavesNoPieceOfAFileBehind)
{
    rlimit old{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &old));
    const rlimit small{100, old.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &small));
    const Performed text = init(folder / "policy.toml");
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &old));
    ASSERT_EQ(SIG_IGN, std::signal(SIGXFSZ, handler));
    EXPECT_THAT(text.err, HasSubstr("policy.toml': File too large"));
    EXPECT_FALSE(std::filesystem::exists(folder / "policy.toml"));
}

// So that nobody who adds a key forgets it there.
TEST(StarterPolicy, HasEachKeyOnceAtLeast)
{
    const std::string text = starterPolicy();
    for (const Keys& keys :
         {Keys(ENGINE_KEYS), Keys(TRANSFORM_KEYS), Keys(RULE_KEYS), Keys(CERTIFICATE_KEYS)})
        for (const Key& key : keys)
            EXPECT_TRUE(
                std::regex_search(text, std::regex("\n(# )?" + std::string(key.name) + " = [^\n]+\n")))
                << key.name;
    for (const Key& key : Keys(POLICY_KEYS))
        EXPECT_TRUE(std::regex_search(
            text, std::regex("\n(# )?\\[+" + std::string(key.name) + "(\\.proposal)?\\]+\n")))
            << key.name;
}

// What is commented out is right as well.
TEST(StarterPolicy, HasNoProblemWithTheKeysThatAreCommentedOut)
{
    std::string text = std::regex_replace(starterPolicy(), std::regex("\n# (\\[|[a-z-]+ = )"), "\n$1");
    text = std::regex_replace(text, std::regex("\npsk = [^\n]+"), "");
    const tests::Folder folder;
    for (const char* const file : {"psk", "device.pem", "device.key"}) {
        folder.write(file, "a key");
        text = std::regex_replace(text, std::regex("\"/etc/ipseccfg/" + std::string(file)),
                                  "\"" + (folder / file));
    }
    EXPECT_EQ(std::vector<std::string>{}, tests::problemsOf(text));
    EXPECT_THAT(text, HasSubstr("\n[[certificate]]\n"));
}

} // namespace
