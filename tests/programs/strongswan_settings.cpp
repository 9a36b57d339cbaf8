// strongSwan's setting file: what becomes of each thing that a policy can say, and what is refused.

#include "Exceptions.h"
#include "PayloadBuilder.h"
#include "SettingManagers.h"

#include "strongswan_support.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace norvale::tamber::systemdata::ipseccfg::common;
using ::testing::HasSubstr;
using ::testing::Not;
using tests::RequestParts;

class StrongswanSettings : public ::testing::Test {
protected:
    StrongswanSettings()
    {
        configuration.engine = "strongswan";
        configuration.pidFile = "/run/engine.pid";
        parts.settingFile = file;
        parts.used.clear();
        parts.others.clear();
        parts.certificates.clear();
    }

    std::string write()
    {
        const Request request = tests::requestOf(parts);
        const auto manager = createSettingManager(configuration, folder);
        manager->setSettingFilePath(request.settingFilePath);
        manager->setFipsMode(request.fipsMode);
        manager->writeSettingFile(request.policy, request.defaultRules, request.certificates);
        manager->keepSettingFile();
        return tests::readFile(file);
    }

    /// The words of a refusal; "accepted" if there is none. A refusal touches nothing.
    std::string refusal()
    {
        try {
            write();
            return "accepted";
        } catch (const std::runtime_error& error) {
            EXPECT_FALSE(tests::exists(file));
            return error.what();
        }
    }

    FilterRulePtr add(FilterRule::FilterType type, const std::string& source, const std::string& destination,
                      int priority = 10)
    {
        FilterRulePtr rule = createFilterRule(type, source, destination);
        rule->setPriority(priority);
        (type == FilterRule::Use ? parts.used : parts.others).push_back(rule);
        return rule;
    }
    FilterRulePtr use(const std::string& source = "192.0.2.1", const std::string& destination = "192.0.2.2")
    {
        return add(FilterRule::Use, source, destination);
    }

    void phase1(EncryptionAlgorithm::Type encryption, int length, HashAlgorithm::Type hash,
                GroupDescription::Type group, int lifetime = 28800)
    {
        parts.phase1 = createSecurityAssociation(encryption, length, hash, AuthenticationMethod::PSK,
                                                 tests::SECRET, group, LifeType::SECOND, lifetime);
    }
    void phase2(EncryptionAlgorithm::Type encryption, int length, HashAlgorithm::Type hash,
                int lifetime = 3600)
    {
        parts.phase2 = createSecurityAssociation(encryption, length, hash, LifeType::SECOND, lifetime);
    }

    tests::TemporaryFolder temporary;
    const SettingFolder folder{temporary / "settings"};
    const std::string file = temporary / "settings/engine.conf";
    Configuration configuration;
    RequestParts parts;
};

TEST_F(StrongswanSettings, AreASwanctlConf)
{
    parts.nameSpace = "blue";
    use();
    add(FilterRule::Bypass, "192.0.2.1", "192.0.2.3", 0);
    add(FilterRule::Discard, "0.0.0.0/0", "0.0.0.0/0", 99);
    EXPECT_EQ(R"(# ipseccfg-strongswan 1
# namespace: blue
connections {
    protect-24d5661ac08a32e8 {
        version = "2"
        proposals = "aes256-sha256-modp2048"
        rekey_time = "25920s"
        reauth_time = "0s"
        over_time = "2880s"
        mobike = "no"
        local_addrs = "192.0.2.1"
        remote_addrs = "192.0.2.2"
        local {
            auth = "psk"
        }
        remote {
            auth = "psk"
        }
        children {
            use-bc9cd5f1e664e208 {
                esp_proposals = "aes128gcm16"
                life_time = "3600s"
                rekey_time = "3240s"
                mode = "transport"
                local_ts = "192.0.2.1/32"
                remote_ts = "192.0.2.2/32"
                priority = "12"
                start_action = "trap"
            }
        }
    }
    shunts {
        remote_addrs = "127.0.0.1"
        children {
            bypass-a435446f23ca842f {
                mode = "pass"
                local_ts = "192.0.2.1/32"
                remote_ts = "192.0.2.3/32"
                priority = "2"
                start_action = "trap"
            }
            discard-09d7ef17efb798ff {
                mode = "drop"
                local_ts = "0.0.0.0/0"
                remote_ts = "0.0.0.0/0"
                priority = "101"
                start_action = "trap"
            }
        }
    }
}
secrets {
    ike {
        secret = "0x636f727265637420686f727365206261747465727920737461706c65"
    }
}
authorities {
}
)",
              write());
    EXPECT_EQ(0600U, tests::modeOf(file));
}

struct Suite {
    EncryptionAlgorithm::Type encryption;
    int length;
    HashAlgorithm::Type hash;
    const char* name;
};

TEST_F(StrongswanSettings, HoldEveryAlgorithmOfPhase1)
{
    const Suite suites[] = {
        {EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, "aes128-sha1"},
        {EncryptionAlgorithm::AES, 192, HashAlgorithm::SHA256, "aes192-sha256"},
        {EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA384, "aes256-sha384"},
        {EncryptionAlgorithm::DES3, 0, HashAlgorithm::SHA512, "3des-sha512"},
        {EncryptionAlgorithm::AES_GCM, 128, HashAlgorithm::SHA1, "aes128gcm16-prfsha1"},
        {EncryptionAlgorithm::AES_GCM, 192, HashAlgorithm::SHA384, "aes192gcm16-prfsha384"},
        {EncryptionAlgorithm::AES_GCM, 256, HashAlgorithm::AES_GCM,
         "aes256gcm16-prfsha256-prfsha384-prfsha512"},
    };
    const std::pair<GroupDescription::Type, const char*> groups[] = {{GroupDescription::G14, "modp2048"},
                                                                     {GroupDescription::G24, "modp2048s256"},
                                                                     {GroupDescription::G19, "ecp256"},
                                                                     {GroupDescription::G20, "ecp384"}};
    use();
    for (const Suite& suite : suites)
        for (const auto& [group, name] : groups) {
            phase1(suite.encryption, suite.length, suite.hash, group);
            EXPECT_THAT(write(), HasSubstr(std::string("\n        proposals = \"") + suite.name + "-" + name +
                                           "\"\n"));
        }
}

TEST_F(StrongswanSettings, HoldEveryAlgorithmOfPhase2)
{
    const Suite suites[] = {
        {EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, "aes128-sha1"},
        {EncryptionAlgorithm::AES, 192, HashAlgorithm::SHA256, "aes192-sha256"},
        {EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA384, "aes256-sha384"},
        {EncryptionAlgorithm::DES3, 0, HashAlgorithm::SHA512, "3des-sha512"},
        {EncryptionAlgorithm::AES_GCM, 128, HashAlgorithm::AES_GCM, "aes128gcm16"},
        {EncryptionAlgorithm::AES_GCM, 192, HashAlgorithm::AES_GCM, "aes192gcm16"},
        {EncryptionAlgorithm::AES_GCM, 256, HashAlgorithm::AES_GCM, "aes256gcm16"},
    };
    use();
    for (const Suite& suite : suites) {
        phase2(suite.encryption, suite.length, suite.hash);
        EXPECT_THAT(write(), HasSubstr(std::string("esp_proposals = \"") + suite.name + "\"\n"));
    }
    parts.phase2 = createSecurityAssociation();
    const PayloadPtr proposal = createProposal();
    const PayloadPtr transform =
        createTransform(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256, LifeType::SECOND, 600);
    transform->add(std::make_shared<GroupDescription>(GroupDescription::G19));
    proposal->add(transform);
    parts.phase2->add(proposal);
    EXPECT_THAT(write(), HasSubstr("esp_proposals = \"aes256-sha256-ecp256\"\n"));
}

TEST_F(StrongswanSettings, HoldEveryTransformInOrderWithTheShortestLifetime)
{
    use();
    parts.phase2 = createSecurityAssociation();
    for (const auto& [hash, lifetime] :
         {std::pair(HashAlgorithm::SHA512, 900), std::pair(HashAlgorithm::SHA1, 700)}) {
        const PayloadPtr proposal = createProposal();
        for (const int length : {256, 128})
            proposal->add(
                createTransform(EncryptionAlgorithm::AES, length, hash, LifeType::SECOND, lifetime));
        parts.phase2->add(proposal);
    }
    const std::string text = write();
    EXPECT_THAT(text,
                HasSubstr("esp_proposals = \"aes256-sha512, aes128-sha512, aes256-sha1, aes128-sha1\"\n"));
    EXPECT_THAT(text, HasSubstr("life_time = \"700s\"\n                rekey_time = \"630s\"\n"));
}

TEST_F(StrongswanSettings, AreOfTheConfiguredIkeVersion)
{
    use();
    configuration.ikeVersion = 1;
    const std::string text = write();
    EXPECT_THAT(text, HasSubstr("version = \"1\"\n"));
    EXPECT_THAT(text, HasSubstr("rekey_time = \"0s\"\n        reauth_time = \"25920s\"\n"));
}

TEST_F(StrongswanSettings, HoldAddressesSubnetsAndRanges)
{
    const std::pair<const char*, const char*> cases[] = {
        {"192.0.2.1", "192.0.2.1/32"},
        {"192.0.2.0/24", "192.0.2.0/24"},
        {"0.0.0.0/0", "0.0.0.0/0"},
        {"192.0.2.4-192.0.2.7", "192.0.2.4/30"},
        {"192.0.2.7-192.0.2.9", "192.0.2.7/32, 192.0.2.8/31"},
        {"10.0.0.1-10.0.0.1", "10.0.0.1/32"},
        {"2001:DB8::1", "2001:db8::1/128"},
        {"2001:db8::/32", "2001:db8::/32"},
        {"::/0", "::/0"},
        {"2001:db8::f-2001:db8::11", "2001:db8::f/128, 2001:db8::10/127"},
    };
    for (const auto& [text, selectors] : cases) {
        parts.others.clear();
        const bool six = std::string(text).find(':') != std::string::npos;
        add(FilterRule::Bypass, text, six ? "2001:db8::2" : "192.0.2.2");
        EXPECT_THAT(write(), HasSubstr(std::string("local_ts = \"") + selectors + "\"\n")) << text;
        parts.others.clear();
        add(FilterRule::Bypass, six ? "2001:db8::2" : "192.0.2.2", text);
        EXPECT_THAT(write(), HasSubstr(std::string("remote_ts = \"") + selectors + "\"\n")) << text;
    }
}

TEST_F(StrongswanSettings, RefuseWhatIsNoAddress)
{
    const char* const cases[] = {"",
                                 "any",
                                 "%any",
                                 "192.0.2.256",
                                 "192.0.2",
                                 "192.0.2.1/33",
                                 "192.0.2.1/24",
                                 "192.0.2.0/",
                                 "192.0.2.0/-1",
                                 "192.0.2.0/+8",
                                 "192.0.2.0/255.255.255.0",
                                 "192.0.2.9-192.0.2.7",
                                 "192.0.2.1-",
                                 "-192.0.2.1",
                                 "192.0.2.1-2001:db8::1",
                                 "192.0.2.1, 192.0.2.5",
                                 " 192.0.2.1",
                                 "192.0.2.1 ",
                                 "192.0.2.1[tcp]",
                                 "2001:db8::1/129",
                                 "2001:db8::1%eth0",
                                 "dynamic"};
    for (const std::string text : cases) {
        parts.used.clear();
        use(text, "192.0.2.2");
        EXPECT_EQ("used rule 1: src-addr: '" + text +
                      "' is not possible, only an address, a subnet (192.0.2.0/24, 2001:db8::/32) or a range "
                      "(192.0.2.7-192.0.2.9)",
                  refusal());
    }
    parts.used.clear();
    use("192.0.2.1", "2001:db8::1");
    EXPECT_EQ("used rule 1: dst-addr: '2001:db8::1' is not possible, only one of the same family as that of "
              "src-addr",
              refusal());
}

TEST_F(StrongswanSettings, ProtectInATunnelWhereASideIsNotOneAddress)
{
    configuration.gateways = {{"10.2.0.0/16", "198.51.100.1", "192.0.2.1"},
                              {"10.0.0.0/8", "198.51.100.2", ""}};
    use("10.1.0.0/16", "10.2.3.0/24");
    std::string text = write();
    EXPECT_THAT(text, HasSubstr("local_addrs = \"192.0.2.1\"\n        remote_addrs = \"198.51.100.1\"\n"));
    EXPECT_THAT(text, HasSubstr("mode = \"tunnel\"\n"));

    parts.used.clear();
    use("10.1.0.0/16", "10.3.3.3");
    text = write();
    EXPECT_THAT(text, HasSubstr("local_addrs = \"%any\"\n        remote_addrs = \"198.51.100.2\"\n"));
    EXPECT_THAT(text, HasSubstr("mode = \"tunnel\"\n"));

    parts.used.clear();
    const FilterRulePtr rule = use("172.16.1.0/24", "172.16.2.0/24");
    rule->setIdentityType(FilterRule::IPAddress);
    rule->setSrcIdentity("192.0.2.7");
    rule->setDstIdentity("192.0.2.8");
    text = write();
    EXPECT_THAT(text, HasSubstr("local_addrs = \"192.0.2.7\"\n        remote_addrs = \"192.0.2.8\"\n"));
}

TEST_F(StrongswanSettings, ProtectInTheConfiguredMode)
{
    use();
    configuration.mode = "tunnel";
    EXPECT_THAT(write(), HasSubstr("mode = \"tunnel\"\n"));
    configuration.mode = "transport";
    EXPECT_THAT(write(), HasSubstr("mode = \"transport\"\n"));
}

TEST_F(StrongswanSettings, RefuseATunnelWithoutAnEndOrAgainstTheConfiguration)
{
    use("192.0.2.1", "10.2.0.0/16");
    EXPECT_EQ(
        "used rule 1: dst-addr: '10.2.0.0/16' is not possible without an end of its tunnel, only with a "
        "gateway in the server's configuration or an identity of type ip, or one address",
        refusal());
    configuration.gateways = {{"0.0.0.0/0", "198.51.100.1", ""}};
    configuration.mode = "transport";
    EXPECT_EQ(
        "used rule 1: mode: 'transport' is not possible by the server's configuration, only tunnel, for a "
        "subnet, a range or a gateway",
        refusal());
}

TEST_F(StrongswanSettings, PutRulesOfTheSameEndsIntoOneConnection)
{
    configuration.gateways = {{"10.0.0.0/8", "198.51.100.1", "192.0.2.1"}};
    use("10.1.0.0/16", "10.2.0.0/16");
    use("10.1.0.0/16", "10.3.0.0/16");
    const std::string text = write();
    const std::size_t first = text.find("    protect-");
    EXPECT_EQ(std::string::npos, text.find("    protect-", first + 1));
    EXPECT_EQ(text.find("            use-"), text.rfind("            use-", text.find("10.2.0.0")));
    EXPECT_NE(text.find("            use-"), text.rfind("            use-"));
}

// That is how a tunnel survives a change of other rules.
TEST_F(StrongswanSettings, NameWhatStaysAsBeforeAndWhatChangesAnew)
{
    const auto nameOf = [](const std::string& text, const std::string& prefix) {
        const std::size_t at = text.find(prefix);
        return at == std::string::npos ? "" : text.substr(at, prefix.size() + 16);
    };
    const FilterRulePtr rule = use();
    const std::string before = write();
    add(FilterRule::Bypass, "192.0.2.1", "192.0.2.9");
    const std::string more = write();
    EXPECT_EQ(nameOf(before, "use-"), nameOf(more, "use-"));
    EXPECT_EQ(nameOf(before, "protect-"), nameOf(more, "protect-"));
    rule->setPriority(11);
    const std::string changed = write();
    EXPECT_NE(nameOf(before, "use-"), nameOf(changed, "use-"));
    EXPECT_EQ(nameOf(before, "protect-"), nameOf(changed, "protect-"));
    phase1(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA256, GroupDescription::G14);
    EXPECT_NE(nameOf(before, "protect-"), nameOf(write(), "protect-"));
}

TEST_F(StrongswanSettings, HoldEveryKindOfIdentity)
{
    struct Case {
        FilterRule::IdentityType type;
        const char* source;
        const char* destination;
        const char* local;
        const char* remote;
    };
    const Case cases[] = {
        {FilterRule::IPAddress, "192.0.2.1", "2001:DB8::1", "192.0.2.1", "2001:db8::1"},
        {FilterRule::DN, "CN=device, O=Example", R"(C=CH,O=A/S \"x\",CN={a}#b)", "CN=device,O=Example",
         R"(C=CH,O=A/S \\\"x\\\",CN={a}#b)"},
        {FilterRule::Email, "a@example.org", R"("{}="@b)", "email:a@example.org", R"(email:\"{}=\"@b)"},
    };
    for (const Case& each : cases) {
        parts.used.clear();
        const FilterRulePtr rule = use();
        rule->setIdentityType(each.type);
        rule->setSrcIdentity(each.source);
        rule->setDstIdentity(each.destination);
        EXPECT_THAT(
            write(),
            HasSubstr(std::string("        local {\n            auth = \"psk\"\n            id = \"") +
                      each.local +
                      "\"\n        }\n        remote {\n            auth = \"psk\"\n            id = \"" +
                      each.remote + "\"\n        }\n"));
    }
}

TEST_F(StrongswanSettings, RefuseIdentitiesThatTheEngineWouldTakeForSomethingElse)
{
    const std::pair<FilterRule::IdentityType, const char*> cases[] = {
        {FilterRule::IPAddress, "0.0.0.0"},
        {FilterRule::IPAddress, "::"},
        {FilterRule::IPAddress, "192.0.2.0/24"},
        {FilterRule::IPAddress, "192.0.2.1-192.0.2.1"},
        {FilterRule::IPAddress, "%any"},
        {FilterRule::IPAddress, "gateway"},
        {FilterRule::DN, "device"},
        {FilterRule::DN, "CN="},
        {FilterRule::DN, "CN=*"},
        {FilterRule::DN, "CN==x"},
        {FilterRule::DN, "CN= x"},
        {FilterRule::DN, "CN=x ,O=y"},
        {FilterRule::DN, "CN=x,"},
        {FilterRule::DN, "XX=x"},
        {FilterRule::DN, "/CN=x"},
        {FilterRule::DN, "CN=\xC3\xA9"},
        {FilterRule::Email, "device"},
        {FilterRule::Email, "@b"},
        {FilterRule::Email, "a@"},
        {FilterRule::Email, "a@b@c"},
        {FilterRule::Email, "*@b"},
        {FilterRule::Email, "#6140@62"},
        {FilterRule::Email, "a b@c"},
        {FilterRule::Email, "\xC3\xA9@b"},
        {FilterRule::IdentityNone, "a@b"},
    };
    for (const auto& [type, text] : cases) {
        parts.used.clear();
        const FilterRulePtr rule = use();
        rule->setIdentityType(type);
        rule->setDstIdentity(text);
        EXPECT_THAT(refusal(), ::testing::StartsWith(std::string("used rule 1: dst-identity: '") + text +
                                                     "' is not possible"));
    }
    parts.used.clear();
    use()->setIdentityType(FilterRule::Email);
    parts.used.back()->setSrcIdentity(std::string(255, 'a') + "@b");
    EXPECT_THAT(refusal(), HasSubstr("used rule 1: src-identity: 'aaa"));
}

TEST_F(StrongswanSettings, HoldCertificatesWithRsaSignatures)
{
    use();
    parts.phase1 = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                             AuthenticationMethod::RSA_SIG, "", GroupDescription::G14,
                                             LifeType::SECOND, 600);
    parts.certificates = {createCertificate(Certificate::EndEntity, "/a, \"b\".pem", "/key with {blank}"),
                          createCertificate(Certificate::InternalCA, "/internal.pem", ""),
                          createCertificate(Certificate::RootCA, "/root.pem", "/ignored")};
    const std::string text = write();
    EXPECT_THAT(text,
                ::testing::StartsWith("# ipseccfg-strongswan 1\n# namespace: \n# private-key: /key with "
                                      "{blank}\nconnections {\n"));
    EXPECT_THAT(
        text,
        HasSubstr("        local {\n            cert-1 {\n                file = \"/a, \\\"b\\\".pem\"\n"
                  "            }\n            auth = \"pubkey\"\n        }\n"));
    EXPECT_THAT(
        text, HasSubstr("secrets {\n}\nauthorities {\n    ca-2 {\n        cacert = \"/internal.pem\"\n    }\n"
                        "    ca-3 {\n        cacert = \"/root.pem\"\n    }\n}\n"));
    EXPECT_THAT(text, Not(HasSubstr("ignored")));
}

TEST_F(StrongswanSettings, RefuseRsaSignaturesWithoutCertificates)
{
    use();
    parts.phase1 = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                             AuthenticationMethod::RSA_SIG, "", GroupDescription::G14,
                                             LifeType::SECOND, 600);
    const std::string needed =
        "phase 1: auth-method: RSA_SIG is not possible without a certificate of kind 1 "
        "(end-entity) and one of kind 3 (root-ca), only PSK";
    EXPECT_EQ(needed, refusal());
    parts.certificates = {createCertificate(Certificate::EndEntity, "/a", "/b")};
    EXPECT_EQ(needed, refusal());
    parts.certificates = {createCertificate(Certificate::RootCA, "/a", "")};
    EXPECT_EQ(needed, refusal());
    const std::string possible =
        " is not possible, only an absolute path of printable ASCII, at most 500 characters";
    parts.certificates = {createCertificate(Certificate::EndEntity, "/\xC3\xA9.pem", "/b")};
    EXPECT_EQ("certificate 1: cert-path: '/\xC3\xA9.pem'" + possible, refusal());
    parts.certificates = {createCertificate(Certificate::EndEntity, "a.pem", "/b")};
    EXPECT_EQ("certificate 1: cert-path: 'a.pem'" + possible, refusal());
    parts.certificates = {createCertificate(Certificate::EndEntity, "/a.pem", "")};
    EXPECT_EQ("certificate 1: pkey-path: ''" + possible, refusal());
}

TEST_F(StrongswanSettings, RefuseAlgorithmsThatTheEngineCannotDo)
{
    use();
    const std::string first = "phase 1, proposal 0, transform 0: ";
    phase1(EncryptionAlgorithm::AES, 256, HashAlgorithm::AES_GCM, GroupDescription::G14);
    EXPECT_EQ(first + "hash-algo: AES-GCM is not possible with AES, only SHA1, SHA256, SHA384, SHA512",
              refusal());
    phase1(EncryptionAlgorithm::DES3, 0, HashAlgorithm::AES_GCM, GroupDescription::G14);
    EXPECT_EQ(first + "hash-algo: AES-GCM is not possible with 3DES, only SHA1, SHA256, SHA384, SHA512",
              refusal());
    phase1(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256, GroupDescription::G14, 9);
    EXPECT_EQ(first + "life-duration: 9 is not possible with this engine, only 10 and more", refusal());

    configuration.ikeVersion = 1;
    phase1(EncryptionAlgorithm::AES_GCM, 256, HashAlgorithm::SHA256, GroupDescription::G14);
    EXPECT_EQ(first + "enc-algo: AES-GCM is not possible in phase 1 of IKE version 1, only AES, 3DES",
              refusal());
    phase1(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256, GroupDescription::G14);
    phase2(EncryptionAlgorithm::AES_GCM, 256, HashAlgorithm::SHA256);
    EXPECT_EQ(
        "phase 2, proposal 0, transform 0: hash-algo: SHA256 is not possible with AES-GCM in phase 2, only "
        "AES-GCM",
        refusal());
    phase2(EncryptionAlgorithm::AES_GCM, 256, HashAlgorithm::AES_GCM);
    parts.used.clear();
    configuration.mode = "tunnel";
    configuration.gateways = {{"10.0.0.0/8", "192.0.2.2", ""}};
    use("192.0.2.1", "10.0.0.1-10.0.0.2");
    EXPECT_EQ(
        "used rule 1: dst-addr: '10.0.0.1-10.0.0.2' is not possible with IKE version 1, only an address, a "
        "subnet or a range that is a subnet",
        refusal());
    parts.phase2 = parts.phase1;
    EXPECT_EQ("phase 2, proposal 0, transform 0: auth-method: is not possible in phase 2", refusal());
    parts.phase1 =
        createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA1, LifeType::SECOND, 60);
    EXPECT_EQ(first + "group-dsc: is missing; phase 1 needs one of 14, 24, 19, 20", refusal());
}

TEST_F(StrongswanSettings, RefuseTwoWaysOfAuthentication)
{
    use();
    const auto transform = [](AuthenticationMethod::Type method, const std::string& key) {
        return createTransform(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256, method, key,
                               GroupDescription::G14, LifeType::SECOND, 600);
    };
    const auto offer = [&](const std::list<PayloadPtr>& transforms) {
        parts.phase1 = createSecurityAssociation();
        const PayloadPtr proposal = createProposal();
        dynamic_cast<Proposal&>(*proposal).setId(1);
        int id = 0;
        for (const PayloadPtr& each : transforms) {
            dynamic_cast<Transform&>(*each).setId(++id);
            proposal->add(each);
        }
        parts.phase1->add(proposal);
    };
    offer({transform(AuthenticationMethod::PSK, "a"), transform(AuthenticationMethod::RSA_SIG, "")});
    EXPECT_EQ("phase 1, proposal 1, transform 2: auth-method: RSA_SIG is not possible beside PSK, only one "
              "method in "
              "all transforms",
              refusal());
    offer({transform(AuthenticationMethod::PSK, "a"), transform(AuthenticationMethod::PSK, "b")});
    EXPECT_EQ(
        "phase 1, proposal 1, transform 2: auth-method: a second pre-shared key is not possible, only one in "
        "all transforms",
        refusal());
}

TEST_F(StrongswanSettings, RefuseByNameWhatFipsModeDoesNotAllow)
{
    use();
    parts.fips = true;
    EXPECT_THAT(write(), HasSubstr("aes256-sha256-modp2048"));
    std::filesystem::remove(file);
    phase1(EncryptionAlgorithm::DES3, 0, HashAlgorithm::SHA256, GroupDescription::G14);
    EXPECT_EQ(
        "phase 1, proposal 0, transform 0: enc-algo: 3DES is not possible in FIPS mode, only AES, AES-GCM",
        refusal());
    phase1(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA256, GroupDescription::G24);
    EXPECT_EQ("phase 1, proposal 0, transform 0: group-dsc: 24 is not possible in FIPS mode, only 14, 19, 20",
              refusal());
    phase1(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA256, GroupDescription::G20);
    phase2(EncryptionAlgorithm::DES3, 0, HashAlgorithm::SHA1);
    EXPECT_EQ(
        "phase 2, proposal 0, transform 0: enc-algo: 3DES is not possible in FIPS mode, only AES, AES-GCM",
        refusal());
}

TEST_F(StrongswanSettings, RefuseARuleThatAnotherOneWouldReplace)
{
    add(FilterRule::Bypass, "192.0.2.0/31", "192.0.2.9", 5);
    add(FilterRule::Discard, "192.0.2.0-192.0.2.1", "192.0.2.9", 6);
    write();
    std::filesystem::remove(file);
    add(FilterRule::Discard, "192.0.2.0-192.0.2.1", "192.0.2.9", 5);
    EXPECT_EQ(
        "default rule 3: priority: '5' is not possible, only one that default rule 1, which has the same "
        "addresses, does not have",
        refusal());
}

TEST_F(StrongswanSettings, RefuseIdentitiesOfARuleThatDoesNotProtect)
{
    const FilterRulePtr rule = add(FilterRule::Bypass, "192.0.2.1", "192.0.2.2");
    rule->setIdentityType(FilterRule::DN);
    EXPECT_EQ(
        "default rule 1: identity-type: 'dn' is not possible, only none, for a rule that does not protect",
        refusal());
    rule->setIdentityType(FilterRule::IdentityNone);
    rule->setSrcIdentity("x");
    EXPECT_EQ("default rule 1: src-identity: 'x' is not possible without an identity-type, only an empty one",
              refusal());
}

TEST_F(StrongswanSettings, LetNeighbourDiscoveryPassWhereTheyProtectIPv6)
{
    add(FilterRule::Discard, "::/0", "::/0", 0);
    EXPECT_THAT(write(), Not(HasSubstr("neighbour")));
    use("2001:db8::1", "2001:db8::2");
    const std::string text = write();
    EXPECT_THAT(text,
                HasSubstr("            neighbour-solicitation {\n                mode = \"pass\"\n"
                          "                local_ts = \"::/0[58/34560]\"\n"
                          "                remote_ts = \"::/0[58/34560]\"\n"
                          "                priority = \"1\"\n                start_action = \"trap\"\n"));
    EXPECT_THAT(text, HasSubstr("            neighbour-advertisement {\n                mode = \"pass\"\n"
                                "                local_ts = \"::/0[58/34816]\"\n"));
}

TEST_F(StrongswanSettings, MayHaveNoRulesAtAll)
{
    parts.phase1 = createSecurityAssociation();
    parts.phase2 = createSecurityAssociation();
    EXPECT_EQ("# ipseccfg-strongswan 1\n# namespace: \nconnections {\n}\nsecrets {\n}\nauthorities {\n}\n",
              write());
}

} // namespace
