// Nothing that a string of a policy holds becomes anything but that string: generated policies go through the setting
// manager, the real swanctl reads them, the real daemon says what it got.

#include "AddressSet.h"
#include "Charon.h"
#include "PayloadBuilder.h"
#include "SettingManagers.h"
#include "Subprocess.h"

#include "strongswan_support.h"
#include "vici_proxy.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <set>

namespace {

namespace fs = std::filesystem;
using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace norvale::tamber::systemdata::ipseccfg::common;
namespace strongswan = norvale::tamber::systemdata::ipseccfg::strongswan;
namespace vici = norvale::tamber::systemdata::ipseccfg::vici;
using Texts = std::set<std::string>;

constexpr unsigned POLICIES = 2000;
constexpr unsigned BATCH = 25;

// What an attacker would try: ends of strings and sections, escapes, includes, expansions, the engine's own words.
const std::string PIECES[] = {"\"",
                              "\\",
                              "\\\"",
                              "}",
                              "{",
                              "#",
                              "=",
                              ",",
                              ", ",
                              "\n",
                              "\r",
                              "\t",
                              "\\n",
                              "\x01",
                              " ",
                              "  ",
                              "$(id)",
                              "`id`",
                              "%any",
                              "%",
                              "*",
                              "@",
                              "/",
                              "\"}\n}",
                              "include /etc/passwd",
                              "\"\nsecret = \"x",
                              "} evil { remote_addrs = 192.0.2.66 }",
                              "0x41",
                              "0sQQ==",
                              "email:",
                              "fqdn:",
                              "asn1dn:",
                              "{1}:",
                              "keyid:",
                              "file:",
                              "handle:",
                              "&",
                              "<",
                              ">",
                              "\xC3\xA9",
                              "\xFF",
                              "CN=",
                              "\xE2\x80\xA8",
                              ";",
                              "'",
                              "|",
                              "connections.x",
                              "\\x41"};

class Generator {
public:
    bool chance(unsigned percent) { return below(100) < percent; }
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    template <std::size_t N>
    std::string any(const std::string (&texts)[N])
    {
        return texts[below(N)];
    }

    /// The text, one time in a few with hostile pieces in it.
    std::string perhapsHostile(std::string text, unsigned percent = 10)
    {
        if (!chance(percent))
            return text;
        for (unsigned count = 1 + below(2); count > 0; --count)
            text.insert(below(static_cast<unsigned>(text.size() + 1)), any(PIECES));
        return text;
    }

private:
    std::mt19937 random_{20240229}; // NOLINT(cert-msc32-c,cert-msc51-cpp): the same policies in every run
};

// One rule as the engine should describe it.
std::string described(const std::string& mode, const std::string& source, const std::string& destination,
                      int priority, const std::string& identities)
{
    return mode + " " + source + " === " + destination + " priority " + std::to_string(priority + 2) +
           identities;
}

std::string identitiesOf(const std::string& local, const std::string& remote)
{
    return " from [" + local + "] to [" + remote + "]";
}

// What the engine shows for an identity that was accepted.
std::string shownIdentity(FilterRule::IdentityType type, const std::string& identity)
{
    if (type == FilterRule::IPAddress && !identity.empty())
        return AddressSet::parse(identity)->firstText();
    if (type != FilterRule::DN)
        return identity;
    std::string shown;
    for (const char character : identity) {
        if (character == ' ' && (shown.empty() || shown.substr(shown.size() - 2) == ", "))
            continue;
        shown += character;
        shown += character == ',' ? " " : "";
    }
    return shown;
}

std::string selectorsOf(const std::string& addresses)
{
    std::string text;
    for (const std::string& subnet : AddressSet::parse(addresses)->subnets())
        text += (text.empty() ? "" : " ") + subnet;
    return text;
}

Texts without(const Texts& texts, const Texts& others)
{
    Texts rest;
    std::set_difference(texts.begin(), texts.end(), others.begin(), others.end(),
                        std::inserter(rest, rest.end()));
    return rest;
}

class StrongswanReadback : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (const std::string why = tests::enterNetworkForStrongswan(); !why.empty())
            GTEST_SKIP() << why;
        tests::makeCertificates(temporary);
        configuration.engine = "strongswan";
        configuration.pidFile = "/run/engine.pid";
        folder = std::make_unique<SettingFolder>(temporary / "settings");
        manager = createSettingManager(configuration, *folder);
        places.charon = tests::CHARON;
        places.swanctl = tests::SWANCTL;
        places.folder = temporary / "work";
        charon = std::make_unique<strongswan::Charon>(places);
        charon->start("");
        proxy = std::make_unique<tests::ViciProxy>(temporary / "proxy", places.folder + "/vici");
    }

    struct Generated {
        Request request;
        std::string key;
        std::string certificate;
        bool rsa = false;
    };

    Generated generate()
    {
        Generated made;
        made.rsa = random.chance(25);
        made.key = random.perhapsHostile("key" + std::to_string(random.below(1000)), 50);
        made.request.settingFilePath = temporary / "settings/engine.conf";
        made.request.scenario = ScenarioCommand::Start;
        std::string nameSpace = random.perhapsHostile(random.chance(50) ? "" : "blue", 4);
        made.request.policy.setNsName(nameSpace);
        made.request.policy.setPhase1SA(createSecurityAssociation(
            EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
            made.rsa ? AuthenticationMethod::RSA_SIG : AuthenticationMethod::PSK, made.rsa ? "" : made.key,
            GroupDescription::G14, LifeType::SECOND, static_cast<int>(10 + random.below(90000))));
        made.request.policy.setPhase2SA(
            createSecurityAssociation(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, LifeType::SECOND,
                                      static_cast<int>(10 + random.below(90000))));
        for (unsigned count = 1 + random.below(2); count > 0; --count)
            attemptToAdd(made.request, ruleWithIdentities());
        for (unsigned count = random.below(2); count > 0; --count)
            made.request.defaultRules.push_back(
                rule(random.chance(50) ? FilterRule::Bypass : FilterRule::Discard));
        if (made.rsa) {
            made.certificate = placeCertificate("device.pem", 50);
            const std::string authority = placeCertificate("ca.pem", 30);
            made.request.certificates = {createCertificate(Certificate::EndEntity, made.certificate,
                                                           temporary / random.perhapsHostile("key.pem", 20)),
                                         createCertificate(Certificate::RootCA, authority, "")};
        }
        return made;
    }

    // Whoever can write the file system may give files such names; those that no file can have are of no interest.
    std::string placeCertificate(const std::string& what, unsigned percent)
    {
        const std::string path = temporary / random.perhapsHostile(what, percent);
        std::error_code impossible;
        fs::create_directories(fs::path(path).parent_path(), impossible);
        fs::copy_file(temporary / what, path, fs::copy_options::skip_existing, impossible);
        return fs::is_regular_file(path, impossible) ? path : temporary / what;
    }

    static void attemptToAdd(Request& request, const FilterRulePtr& rule)
    {
        try {
            request.policy.addFilter(rule);
        } catch (const std::runtime_error&) { // NOLINT(bugprone-empty-catch): the same addresses again
        }
    }

    FilterRulePtr rule(FilterRule::FilterType type)
    {
        const std::string four[] = {"192.0.2.1", "192.0.2.77", "10.0.0.1-10.0.0.1"};
        const std::string fourMany[] = {"10.1.0.0/16", "10.0.0.4-10.0.0.6", "0.0.0.0/0"};
        const std::string six[] = {"2001:db8::1", "2001:DB8:0::7"};
        const std::string sixMany[] = {"2001:db8:1::/48", "2001:db8::4-2001:db8::6"};
        const bool isSix = random.chance(30);
        const bool many = type != FilterRule::Use && random.chance(60);
        const auto pick = [&] {
            if (many)
                return random.perhapsHostile(isSix ? random.any(sixMany) : random.any(fourMany), 5);
            return random.perhapsHostile(isSix ? random.any(six) : random.any(four), 5);
        };
        const std::string source = pick();
        FilterRulePtr result = createFilterRule(type, source, pick());
        result->setPriority(static_cast<int>(random.below(100)));
        return result;
    }

    FilterRulePtr ruleWithIdentities()
    {
        const std::string addresses[] = {"192.0.2.1", "198.51.100.9", "2001:db8::9", "2001:DB8::9"};
        const std::string names[] = {"CN=device", "C=CH, O=Example, CN=gateway", "CN=a b,O=c",
                                     "O=x, OU=y, E=z@x"};
        const std::string emails[] = {"a@example.org", "first.last+tag@b", "x=y@z", "C=CH@b"};
        FilterRulePtr result = rule(FilterRule::Use);
        const auto pick = [&](const auto& texts) { return random.perhapsHostile(random.any(texts), 25); };
        const auto type = static_cast<FilterRule::IdentityType>(random.below(4));
        result->setIdentityType(type);
        for (const auto set : {&FilterRule::setSrcIdentity, &FilterRule::setDstIdentity})
            ((*result).*set)(type == FilterRule::IPAddress ? pick(addresses)
                             : type == FilterRule::DN      ? pick(names)
                             : type == FilterRule::Email   ? pick(emails)
                                                           : random.perhapsHostile("", 5));
        return result;
    }

    /// Whether the request is accepted; the text of the setting file is kept then.
    bool accepted(const Request& request)
    {
        try {
            checkRequest(request);
            manager->setSettingFilePath(request.settingFilePath);
            manager->writeSettingFile(request.policy, request.defaultRules, request.certificates);
            manager->keepSettingFile();
        } catch (const std::runtime_error&) {
            return false;
        }
        return true;
    }

    /// Adds a policy to those that are loaded together. What they all have under the same name gets one of its own.
    void collect(const Generated& made)
    {
        const std::string content = tests::readFile(made.request.settingFilePath);
        const strongswan::Settings settings = strongswan::settingsOf(content, "");
        EXPECT_EQ(made.request.policy.getNsName(), settings.nameSpace);
        std::vector<std::string> keys;
        if (made.rsa)
            keys.push_back(made.request.certificates.front()->getPkeyFilePath());
        EXPECT_EQ(keys, settings.privateKeys);

        std::string text = content;
        const std::string number = std::to_string(collected++);
        tests::replaceAll(text, "\nsecrets {\n    ike {", "\nsecrets {\n    ike-" + number + " {");
        tests::replaceAll(text, "\nauthorities {\n    ca-2 {", "\nauthorities {\n    ca-" + number + " {");
        // Policies in the kernel are not what this is about.
        tests::replaceAll(text, "\n                start_action = \"trap\"\n", "\n");
        batch += text;
        if (made.rsa)
            certificates.insert(made.certificate);
        else
            keysExpected.insert(made.key);
        for (const FilterRulePtr& rule : made.request.policy.getFilterRules()) {
            // Without an identity this end is the subject of its certificate.
            const std::string local = made.rsa && rule->getSrcIdentity().empty()
                                          ? "CN=device"
                                          : shownIdentity(rule->getIdentityType(), rule->getSrcIdentity());
            const std::string remote = shownIdentity(rule->getIdentityType(), rule->getDstIdentity());
            if (AddressSet::parse(rule->getSrcIpAddress())->isIPv6()) // with neighbour discovery
                rulesExpected.insert({"PASS ::/0[ipv6-icmp/135] === ::/0[ipv6-icmp/135] priority 1",
                                      "PASS ::/0[ipv6-icmp/136] === ::/0[ipv6-icmp/136] priority 1"});
            rulesExpected.insert(described("TRANSPORT", selectorsOf(rule->getSrcIpAddress()),
                                           selectorsOf(rule->getDstIpAddress()), rule->getPriority(),
                                           identitiesOf(local, remote)));
        }
        for (const FilterRulePtr& rule : made.request.defaultRules)
            rulesExpected.insert(described(rule->getFilterType() == FilterRule::Bypass ? "PASS" : "DROP",
                                           selectorsOf(rule->getSrcIpAddress()),
                                           selectorsOf(rule->getDstIpAddress()), rule->getPriority(), ""));
    }

    /// Has the engine read what was collected, and compares.
    void readBack()
    {
        tests::writeFile(places.folder + "/swanctl.conf", batch);
        const strongswan::Ending ending = strongswan::runProgram(
            {{places.swanctl, "--load-all", "--clear", "--noprompt", "--uri",
              "unix://" + (temporary / "proxy")},
             {"STRONGSWAN_CONF=" + places.folder + "/strongswan.conf", "SWANCTL_DIR=" + places.folder},
             places.folder},
            std::chrono::seconds(20));
        EXPECT_EQ("", ending.errors) << batch;
        EXPECT_EQ(0, ending.status) << batch;
        const Texts rules = rulesOfTheEngine();
        EXPECT_EQ(Texts(), without(rules, rulesExpected)) << "not written by anybody\n" << batch;
        EXPECT_EQ(Texts(), without(rulesExpected, rules)) << "lost\n" << batch;
        checkWhatSwanctlSent();
        batch.clear();
        keysExpected.clear();
        certificates.clear();
        rulesExpected.clear();
    }

    Texts rulesOfTheEngine() const
    {
        Texts rules;
        vici::Connection connection(places.folder + "/vici", std::chrono::seconds(10));
        for (const vici::Element& event : connection.stream("list-conns", "list-conn"))
            for (const vici::Element& entry : event.elements()) {
                const bool shunts = entry.name() == "shunts";
                const std::string identities =
                    identitiesOf(entry.section("local-1").value("id"), entry.section("remote-1").value("id"));
                for (const vici::Element& child : entry.section("children").elements())
                    rules.insert(child.value("mode") + " " + listed(child, "local-ts") +
                                 " === " + listed(child, "remote-ts") + " priority " +
                                 child.value("priority") + (shunts ? "" : identities));
            }
        return rules;
    }

    static std::string listed(const vici::Element& section, const std::string& name)
    {
        std::string text;
        for (const std::string& item : section.items(name))
            text += (text.empty() ? "" : " ") + item;
        // Where the system has no list of protocols.
        tests::replaceAll(text, "[58/", "[ipv6-icmp/");
        return text;
    }

    /// Keys cannot be asked for, but what swanctl read out of its file is what it sends; and it sends nothing that
    /// nobody wrote.
    void checkWhatSwanctlSent()
    {
        static const Texts known = {"version",   "proposals", "rekey_time",  "reauth_time",
                                    "over_time", "mobike",    "local_addrs", "remote_addrs",
                                    "local",     "remote",    "children"};
        Texts keys;
        Texts paths;
        for (const auto& [command, message] : proxy->takeRequests()) {
            if (command == "load-shared") {
                keys.insert(message.value("data"));
                EXPECT_EQ("ike", message.value("type"));
                EXPECT_TRUE(message.items("owners").empty());
            }
            if (command != "load-conn")
                continue;
            for (const vici::Element& connection : message.elements()) {
                EXPECT_TRUE(connection.name() == "shunts" || connection.name().substr(0, 8) == "protect-");
                for (const vici::Element& member : connection.elements())
                    EXPECT_EQ(1U, known.count(member.name())) << member.name();
                for (const vici::Element& member : connection.section("local").elements())
                    if (member.kind() == vici::Element::Section)
                        paths.insert(member.value("file"));
            }
        }
        EXPECT_EQ(keysExpected, keys);
        // Policies with the same connection differ in nothing but the certificate's path, or in nothing at all.
        EXPECT_EQ(certificates, paths);
    }

    Generator random;
    tests::TemporaryFolder temporary;
    Configuration configuration;
    std::unique_ptr<SettingFolder> folder;
    std::unique_ptr<EngineSettingManager> manager;
    strongswan::Places places;
    std::unique_ptr<strongswan::Charon> charon;
    std::unique_ptr<tests::ViciProxy> proxy;
    std::string batch;
    unsigned collected = 0;
    Texts keysExpected;
    Texts certificates;
    Texts rulesExpected;
};

TEST_F(StrongswanReadback, GivesEveryStringOfTwoThousandPoliciesOrTheyAreRefused)
{
    unsigned accepts = 0;
    for (unsigned number = 1; number <= POLICIES && !HasFailure(); ++number) {
        const Generated made = generate();
        if (accepted(made.request)) {
            ++accepts;
            collect(made);
        }
        if (number % BATCH == 0)
            readBack();
    }
    // Both must happen often, or nothing is shown.
    EXPECT_GT(accepts, POLICIES / 4);
    EXPECT_LT(accepts, POLICIES * 3 / 4);
    RecordProperty("accepted", static_cast<int>(accepts));
    std::cout << accepts << " of " << POLICIES << " policies accepted and read back\n";
}

} // namespace
