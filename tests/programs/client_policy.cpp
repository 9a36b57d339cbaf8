// Policies without problems: what is accepted, and what becomes of it.

#include "client_support.h"

#include "Association.h"

#include <gtest/gtest.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg; // NOLINT(google-build-using-namespace)
using client::Policy;
using client::readPolicyFile;
using client::readPolicyText;
using tests::ENGINE;
using tests::Folder;
using tests::PHASES;
using tests::policyOf;
using tests::problemsOf;
using tests::withRule;
using tests::withRuleAnd;
using tests::withTransform;
using tests::withTransformAnd;

using Lines = std::vector<std::string>;

struct Row {
    const char* name;
    std::string policy;
};

std::ostream& operator<<(std::ostream& out, const Row& row)
{
    return out << row.policy;
}

class AcceptedPolicy : public testing::TestWithParam<Row> {};

TEST_P(AcceptedPolicy, HasNoProblem)
{
    EXPECT_EQ(Lines{}, problemsOf(GetParam().policy));
}

std::string ruleOf(const std::string& action, const std::string& source, const std::string& destination)
{
    return "[[rule]]\naction = \"" + action + "\"\nsource = \"" + source + "\"\ndestination = \"" +
           destination + "\"\npriority = 1\n";
}

std::string identities(const std::string& type, const std::string& source, const std::string& destination)
{
    return withRuleAnd("identity-type = \"" + type + "\"\nsource-identity = '" + source +
                       "'\ndestination-identity = '" + destination + "'\n");
}

const Row ACCEPTED[] = {
    {"EngineAlone", ENGINE},
    {"RulesWithoutPhases",
     ENGINE + ruleOf("bypass", "192.0.2.1", "192.0.2.2") + ruleOf("discard", "::1", "::2")},
    {"ProtectionWithBothPhases", ENGINE + PHASES + ruleOf("use", "192.0.2.1", "192.0.2.2")},
    {"TwinsThatAreNotProtected",
     ENGINE + ruleOf("bypass", "192.0.2.1", "192.0.2.2") + ruleOf("discard", "192.0.2.1", "192.0.2.2")},
    {"SamePairInOtherWords",
     ENGINE + PHASES + ruleOf("use", "2001:db8::1", "::2") + ruleOf("use", "2001:DB8::1", "::2")},
    {"SameIdsInBothPhases", ENGINE + PHASES},
    {"NoIdentities", withRuleAnd("identity-type = \"none\"\n")},
    {"AddressIdentitiesOfTwoFamilies", identities("ip", "192.0.2.1", "2001:db8::1")},
    {"NameIdentities", identities("dn", "C=CH, O=Example, CN=device", "2.5.4.3=x")},
    {"EmailIdentities", identities("email", "a@b", "device+1@example.org")},
    {"AesGcmWithItself",
     withTransform("id = 0\nencryption = \"AES-GCM\"\nkey-length = 128\nhash = \"AES-GCM\"\nlifetime = 1\n")},
    {"AesGcmWithAHashForItsKeys",
     withTransform("id = 0\nencryption = \"AES-GCM\"\nkey-length = 192\nhash = \"SHA384\"\nlifetime = 1\n")},
    {"3DesWithoutKeyLength",
     withTransform("id = 1\nencryption = \"3DES\"\nhash = \"SHA1\"\nlifetime = 2147483647\n")},
    {"3DesWithItsParityBits",
     withTransform(
         "id = 2147483647\nencryption = \"3DES\"\nkey-length = 192\nhash = \"SHA1\"\nlifetime = 1\n")},
    {"SignatureWithItsCertificate",
     withTransformAnd("authentication = \"RSA_SIG\"\n[[certificate]]\nkind = \"end-entity\"\n"
                      "certificate = \"/dev/null\"\nprivate-key = \"/dev/null\"\n")},
    {"AuthorityWithAPrivateKey", ENGINE + "[[certificate]]\nkind = \"internal-ca\"\ncertificate = "
                                          "\"/dev/null\"\nprivate-key = \"/dev/null\"\n"},
    {"KeyOfAllCharacters",
     withTransformAnd(
         "authentication = \"PSK\"\npsk = \"\"\" !\\\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRST"
         "UVWXYZ[\\\\]^_`abcdefghijklmnopqrstuvwxyz{|}~\"\"\"\n")},
    {"LongestNamespace", ENGINE + "namespace = \"" + std::string(255, 'n') + "\"\n"},
    {"ByteOrderMark", "\xEF\xBB\xBF" + ENGINE},
    {"InlineTables", "engine = {setting-file = \"/run/engine.conf\"}\nrule = []\n"},
};
// A test's name begins with a letter.
std::string nameOf(const testing::TestParamInfo<Row>& info)
{
    return std::string("With") + info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Policies, AcceptedPolicy, testing::ValuesIn(ACCEPTED), nameOf);

TEST(PolicyFile, GivesTheEngineSettings)
{
    const Policy policy = policyOf(ENGINE + "fips = true\nnamespace = \"blue\"\n");
    EXPECT_EQ("/run/engine.conf", policy.settingFile);
    EXPECT_TRUE(policy.fipsMode);
    EXPECT_EQ("blue", policy.store.getNsName());
}

TEST(PolicyFile, HasNoFipsModeAndNoNamespaceUnlessItSaysSo)
{
    const Policy policy = policyOf(ENGINE);
    EXPECT_FALSE(policy.fipsMode);
    EXPECT_EQ("", policy.store.getNsName());
}

TEST(PolicyFile, GivesAssociationsWithoutProposalsForPhasesThatAreLeftOut)
{
    const Policy policy = policyOf(ENGINE);
    ASSERT_NE(nullptr, policy.store.getPhase1SA());
    ASSERT_NE(nullptr, policy.store.getPhase2SA());
    EXPECT_EQ(0U, policy.store.getPhase1SA()->getNumberOfChildren());
    EXPECT_EQ(0U, policy.store.getPhase2SA()->getNumberOfChildren());
}

TEST(PolicyFile, GivesATransformItsAttributesInTheOrderOfTheBuilders)
{
    const Policy policy =
        policyOf(withTransform("lifetime = 28800\ngroup = 19\npsk = \"ab\"\n"
                               "authentication = \"PSK\"\nhash = \"SHA384\"\nkey-length = 128\n"
                               "encryption = \"AES-GCM\"\nid = 7\n"));
    EXPECT_EQ("SecurityAssociation: \n"
              "proposalID: 1\n"
              "transformID: 7\n"
              "EncryptionAlgorithm: value: AES-GCM\n"
              "KeyLength: value: 128\n"
              "HashAlgorithm: value: SHA384\n"
              "AuthenticationMethod: value: PSK: data: ab\n"
              "GroupDescription: value: Group19\n"
              "LifeType: value: SECOND\n"
              "LifeDuration: value: 28800\n"
              "\n"
              "\n",
              policy.store.getPhase1SA()->to_string());
}

TEST(PolicyFile, LeavesOutWhatATransformDoesNotSay)
{
    const Policy policy =
        policyOf(withTransform("id = 1\nencryption = \"3DES\"\nhash = \"SHA1\"\nlifetime = 3600\n"));
    EXPECT_EQ("SecurityAssociation: \n"
              "proposalID: 1\n"
              "transformID: 1\n"
              "EncryptionAlgorithm: value: 3DES\n"
              "HashAlgorithm: value: SHA1\n"
              "LifeType: value: SECOND\n"
              "LifeDuration: value: 3600\n"
              "\n"
              "\n",
              policy.store.getPhase1SA()->to_string());
}

TEST(PolicyFile, GivesASignatureNoData)
{
    const Policy policy = policyOf(withTransformAnd("authentication = \"RSA_SIG\"\n[[certificate]]\n"
                                                    "kind = \"end-entity\"\ncertificate = \"/dev/null\"\n"
                                                    "private-key = \"/dev/null\"\n"));
    const auto transform =
        programs::proposalsOf(policy.store.getPhase1SA(), "phase 1").at(0).transforms.at(0);
    EXPECT_EQ(common::AuthenticationMethod::RSA_SIG, transform.authentication);
    EXPECT_EQ("", transform.authenticationData);
}

TEST(PolicyFile, TakesAKeyFromItsFileWithoutTheLineEnd)
{
    const Folder folder;
    const std::string path = folder.write("key", "sword fish \n");
    const Policy policy =
        policyOf(withTransformAnd("authentication = \"PSK\"\npsk-file = \"" + path + "\"\n"));
    EXPECT_EQ("sword fish ", programs::proposalsOf(policy.store.getPhase1SA(), "phase 1")
                                 .at(0)
                                 .transforms.at(0)
                                 .authenticationData);
}

TEST(PolicyFile, KeepsPhasesProposalsAndTransformsApart)
{
    const Policy policy =
        policyOf(ENGINE + PHASES +
                 "[[phase2.proposal]]\nid = 9\n"
                 "[[phase2.proposal.transform]]\nid = 4\nencryption = \"AES\"\nkey-length = 128\n"
                 "hash = \"SHA1\"\nlifetime = 60\n"
                 "[[phase2.proposal.transform]]\nid = 3\nencryption = \"AES\"\nkey-length = 192\n"
                 "hash = \"SHA1\"\nlifetime = 60\n");
    EXPECT_EQ(1U, policy.store.getPhase1SA()->getNumberOfChildren());
    const auto proposals = programs::proposalsOf(policy.store.getPhase2SA(), "phase 2");
    ASSERT_EQ(2U, proposals.size());
    EXPECT_EQ(9, proposals[1].id);
    ASSERT_EQ(2U, proposals[1].transforms.size());
    EXPECT_EQ(4, proposals[1].transforms[0].id);
    EXPECT_EQ(192, proposals[1].transforms[1].keyLength);
}

TEST(PolicyFile, PutsRulesThatProtectIntoTheStoreAndTheOthersBesideIt)
{
    const Policy policy = policyOf(ENGINE + PHASES + ruleOf("bypass", "192.0.2.1", "192.0.2.9") +
                                   ruleOf("use", "192.0.2.1", "192.0.2.2") + ruleOf("discard", "::1", "::2") +
                                   ruleOf("use", "192.0.2.1", "192.0.2.3"));
    Lines used;
    for (const common::FilterRulePtr& each : policy.store.getFilterRules())
        used.push_back(each->getDstIpAddress());
    Lines others;
    for (const common::FilterRulePtr& each : policy.defaultRules)
        others.push_back(each->getDstIpAddress());
    EXPECT_EQ((Lines{"192.0.2.2", "192.0.2.3"}), used);
    EXPECT_EQ((Lines{"192.0.2.9", "::2"}), others);
}

TEST(PolicyFile, GivesARuleAllItsFields)
{
    const Policy policy = policyOf(withRule("action = \"discard\"\nsource = \"192.0.2.1\"\n"
                                            "destination = \"192.0.2.2\"\nidentity-type = \"email\"\n"
                                            "source-identity = \"a@b\"\ndestination-identity = \"c@d\"\n"
                                            "priority = 99\n"));
    std::ostringstream text;
    text << *policy.defaultRules.front();
    EXPECT_EQ("Contents of FilterRule:\n"
              "  Filter Type   : 2\n"
              "  Src IP Address: 192.0.2.1\n"
              "  Dst IP Address: 192.0.2.2\n"
              "  Identity Type : 3\n"
              "  Src Identity  : a@b\n"
              "  Dst Identity  : c@d\n"
              "  Priority      : 99\n",
              text.str());
}

TEST(PolicyFile, GivesCertificatesInTheirOrder)
{
    const Policy policy =
        policyOf(ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/dev/null\"\n"
                          "[[certificate]]\nkind = \"end-entity\"\ncertificate = \"/dev/zero\"\n"
                          "private-key = \"/dev/full\"\n");
    std::ostringstream text;
    for (const common::CertificatePtr& certificate : policy.certificates)
        text << *certificate;
    EXPECT_EQ("Contents of Certificate:\n"
              "  Filter Kind   : RootCA\n"
              "  Cert File Path: /dev/null\n"
              "  Pkey File Path: \n"
              "Contents of Certificate:\n"
              "  Filter Kind   : EndEntity\n"
              "  Cert File Path: /dev/zero\n"
              "  Pkey File Path: /dev/full\n",
              text.str());
}

TEST(PolicyFile, IsNoPolicyIfItHasProblems)
{
    EXPECT_FALSE(readPolicyText("[engine]\n").policy.has_value());
}

std::string readingError(const std::string& path)
{
    try {
        readPolicyFile(path);
        return "none";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST(PolicyFile, ThatIsNotThereIsNamed)
{
    EXPECT_EQ("cannot read '/nonexistent/policy.toml': No such file or directory; 'ipseccfgctl init' writes "
              "a policy to begin with",
              readingError("/nonexistent/policy.toml"));
}

TEST(PolicyFile, ThatIsADirectoryIsNamed)
{
    EXPECT_EQ("cannot read '/tmp': Is a directory", readingError("/tmp"));
}

TEST(PolicyFile, MayBe16MebibytesLarge)
{
    const Folder folder;
    const std::size_t most = 16777216;
    std::string text = ENGINE;
    while (text.size() < most)
        text += "#" + std::string(std::min<std::size_t>(1000, most - text.size() - 1) - 1, '-') + "\n";
    text.resize(most, '\n');
    EXPECT_EQ("none", readingError(folder.write("largest", text)));
    EXPECT_EQ("cannot read '" + (folder / "larger") + "': larger than 16777216 bytes",
              readingError(folder.write("larger", text + "\n")));
}

TEST(PolicyFile, ThatNeverEndsIsGivenUp)
{
    EXPECT_EQ("cannot read '/dev/zero': larger than 16777216 bytes", readingError("/dev/zero"));
}

TEST(SamplePolicy, HasNoProblemOnceItsCertificatesAreThere)
{
    std::string text = tests::contentsOf(SAMPLE_POLICY);
    const Folder folder;
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find("\"/etc/ipseccfg", at)) != std::string::npos; ++count)
        text.replace(at, std::string("\"/etc/ipseccfg").size(), "\"" + (folder / ""));
    for (const char* const name : {"device.pem", "device.key", "internal-ca.pem", "root-ca.pem"})
        folder.write(name, "");
    EXPECT_EQ(4U, count);
    const Policy policy = policyOf(text);
    EXPECT_EQ(2U, policy.store.getPhase1SA()->getNumberOfChildren());
    EXPECT_EQ(1U, policy.store.getPhase2SA()->getNumberOfChildren());
    EXPECT_EQ(2U, policy.store.getFilterRules().size());
    EXPECT_EQ(2U, policy.defaultRules.size());
    EXPECT_EQ(3U, policy.certificates.size());
}

TEST(SamplePolicy, MissesNothingButItsCertificates)
{
    Lines keys;
    for (const client::Problem& problem : readPolicyFile(SAMPLE_POLICY).problems)
        keys.push_back(problem.key);
    EXPECT_EQ((Lines{"certificate[0].certificate", "certificate[0].private-key", "certificate[1].certificate",
                     "certificate[2].certificate"}),
              keys);
}

// Each is a policy or has problems, and nothing worse happens.
TEST(SamplePolicy, CutOffAnywhereIsAPolicyOrHasProblems)
{
    const std::string text = tests::contentsOf(SAMPLE_POLICY);
    for (std::size_t size = 0; size < text.size(); ++size) {
        const client::PolicyReading reading = readPolicyText(text.substr(0, size));
        EXPECT_NE(reading.policy.has_value(), !reading.problems.empty()) << size;
    }
}

} // namespace
