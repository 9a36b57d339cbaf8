// Everything that can be wrong with a policy file, and in which words it is said.

#include "client_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using tests::ENGINE;
using tests::Folder;
using tests::PHASES;
using tests::problemsOf;
using tests::withRule;
using tests::withRuleAnd;
using tests::withTransform;
using tests::withTransformAnd;

struct Refusal {
    const char* name;
    std::string policy;
    std::vector<std::string> problems;
};

std::ostream& operator<<(std::ostream& out, const Refusal& row)
{
    return out << row.policy;
}

class PolicyWithProblems : public testing::TestWithParam<Refusal> {};

TEST_P(PolicyWithProblems, IsRefusedWithThePlaceTheValueAndWhatIsAllowed)
{
    EXPECT_EQ(GetParam().problems, problemsOf(GetParam().policy));
}

std::string nameOfRefusal(const testing::TestParamInfo<Refusal>& info)
{
    return info.param.name;
}

const char* const TRANSFORM_LIST =
    "id, encryption, key-length, hash, authentication, psk, psk-file, group, lifetime";

const std::vector<Refusal> KEYS = {
    {"EmptyFile", "", {"1:1: engine: is missing, must be a table"}},
    {"UnknownTable",
     ENGINE + "[[rules]]\n",
     {"3:3: rules: is not a known key, only engine, phase1, phase2, rule, certificate (did you mean "
      "'rule'?)"}},
    {"UnknownKeyWithoutLikeness",
     ENGINE + "mode = 3\n",
     {"3:1: engine.mode: is not a known key, only setting-file, fips, namespace"}},
    {"UnknownKeyWithAnUnderscore",
     "[engine]\nsetting_file = \"/run/engine.conf\"\n",
     {"1:1: engine.setting-file: is missing, must be an absolute path",
      "2:1: engine.setting_file: is not a known key, only setting-file, fips, namespace (did you mean "
      "'setting-file'?)"}},
    {"UnknownKeyOfATransform",
     withTransformAnd("life-time = 5\n"),
     {std::string("11:1: phase1.proposal[0].transform[0].life-time: is not a known key, only ") +
      TRANSFORM_LIST + " (did you mean 'lifetime'?)"}},
    {"UnknownKeyWithAControlCharacter",
     ENGINE + "\"a\\u001b[2Jb\" = 3\n",
     {"3:1: engine.a?[2Jb: is not a known key, only setting-file, fips, namespace"}},
    {"ValueInPlaceOfATable", "engine = 5\n", {"1:10: engine: must be a table, not the integer 5"}},
    {"TableInPlaceOfAnArray",
     ENGINE + "[rule]\naction = \"use\"\n",
     {"3:1: rule: must be an array of tables, not a table"}},
    {"ArrayOfValues", "rule = [1, 2]\n" + ENGINE, {"1:8: rule: must be an array of tables, not an array"}},
    {"StringInPlaceOfABoolean",
     ENGINE + "fips = \"on\"\n",
     {"3:8: engine.fips: must be true or false, not the string 'on'"}},
    {"IntegerInPlaceOfAString",
     "[engine]\nsetting-file = 5\n",
     {"2:16: engine.setting-file: must be an absolute path, not the integer 5"}},
    {"BooleanInPlaceOfAString",
     ENGINE + "namespace = false\n",
     {"3:13: engine.namespace: must be 1 to 255 letters, digits, '_', '.' and '-' (neither '.' nor '..'), or "
      "empty "
      "for none, not the boolean false"}},
    {"TheOtherBooleanInPlaceOfAString",
     "[engine]\nsetting-file = true\n",
     {"2:16: engine.setting-file: must be an absolute path, not the boolean true"}},
    {"FractionInPlaceOfAnInteger",
     withRule("action = \"bypass\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 1.5\n"),
     {"7:12: rule[0].priority: must be an integer from 0 to 99, not the number 1.5"}},
    {"DateInPlaceOfAnInteger",
     withRule(
         "action = \"bypass\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 2020-01-01\n"),
     {"7:12: rule[0].priority: must be an integer from 0 to 99, not a date or time"}},
    {"ControlCharacterInAString",
     "[engine]\nsetting-file = \"/run/\\u0007\"\n",
     {"2:16: engine.setting-file: '/run/?': control characters are not allowed"}},
    {"WhatXmlCannotCarry",
     "[engine]\nsetting-file = \"/run/\\uFFFF\"\n",
     {"2:16: engine.setting-file: '/run/?': U+FFFE and U+FFFF are not allowed"}},
};
INSTANTIATE_TEST_SUITE_P(Keys, PolicyWithProblems, testing::ValuesIn(KEYS), nameOfRefusal);

const std::vector<Refusal> ENGINES = {
    {"MissingSettingFile", "[engine]\n", {"1:1: engine.setting-file: is missing, must be an absolute path"}},
    {"EmptySettingFile",
     "[engine]\nsetting-file = \"\"\n",
     {"2:16: engine.setting-file: must be an absolute path, not ''"}},
    {"RelativeSettingFile",
     "[engine]\nsetting-file = \"engine.conf\"\n",
     {"2:16: engine.setting-file: must be an absolute path, not 'engine.conf'"}},
    {"NamespaceWithASlash",
     ENGINE + "namespace = \"a/b\"\n",
     {"3:13: engine.namespace: must be 1 to 255 letters, digits, '_', '.' and '-' (neither '.' nor '..'), or "
      "empty "
      "for none, not 'a/b'"}},
    {"NamespaceOfTwoDots",
     ENGINE + "namespace = \"..\"\n",
     {"3:13: engine.namespace: must be 1 to 255 letters, digits, '_', '.' and '-' (neither '.' nor '..'), or "
      "empty "
      "for none, not '..'"}},
};
INSTANTIATE_TEST_SUITE_P(Engine, PolicyWithProblems, testing::ValuesIn(ENGINES), nameOfRefusal);

const std::vector<Refusal> PROPOSALS = {
    {"PhaseWithoutProposals",
     ENGINE + "[phase1]\n",
     {"3:1: phase1.proposal: is missing, must be an array of tables"}},
    {"PhaseWithAnEmptyList",
     ENGINE + "[phase1]\nproposal = []\n",
     {"4:12: phase1.proposal: is empty, at least one is needed"}},
    {"ProposalWithoutTransforms",
     ENGINE + "[[phase1.proposal]]\nid = 1\n",
     {"3:1: phase1.proposal[0].transform: is missing, must be an array of tables"}},
    {"ProposalWithAnEmptyList",
     ENGINE + "[[phase1.proposal]]\nid = 1\ntransform = []\n",
     {"5:13: phase1.proposal[0].transform: is empty, at least one is needed"}},
    {"NegativeProposalId",
     ENGINE + "[[phase1.proposal]]\nid = -1\n[[phase1.proposal.transform]]\nid = 1\nencryption = \"AES\"\n"
              "key-length = 128\nhash = \"SHA1\"\nlifetime = 1\n",
     {"4:6: phase1.proposal[0].id: must be an integer from 0 to 2147483647, not -1"}},
    {"TwoProposalsOfOneId",
     ENGINE + PHASES +
         "[[phase2.proposal]]\nid = 1\n[[phase2.proposal.transform]]\nid = 1\nencryption = \"AES\"\n"
         "key-length = 128\nhash = \"SHA1\"\nlifetime = 1\n",
     {"20:6: phase2.proposal[1].id: 1 is the id of the proposal in line 12 already, each needs one of its "
      "own"}},
    {"TwoTransformsOfOneId",
     withTransformAnd("[[phase1.proposal.transform]]\nid = 1\nencryption = \"AES\"\nkey-length = 128\n"
                      "hash = \"SHA1\"\nlifetime = 1\n"),
     {"12:6: phase1.proposal[0].transform[1].id: 1 is the id of the transform in line 6 already, each needs "
      "one of "
      "its own"}},
};
INSTANTIATE_TEST_SUITE_P(Proposals, PolicyWithProblems, testing::ValuesIn(PROPOSALS), nameOfRefusal);

const std::vector<Refusal> TRANSFORMS = {
    {"EmptyTransform",
     withTransform(""),
     {"5:1: phase1.proposal[0].transform[0].id: is missing, must be an integer from 0 to 2147483647",
      "5:1: phase1.proposal[0].transform[0].encryption: is missing, must be one of AES, 3DES, AES-GCM",
      "5:1: phase1.proposal[0].transform[0].hash: is missing, must be one of SHA1, SHA256, SHA384, SHA512, "
      "AES-GCM",
      "5:1: phase1.proposal[0].transform[0].lifetime: is missing, must be an integer from 1 to 2147483647"}},
    {"UnknownEncryption",
     withTransform("id = 1\nencryption = \"DES\"\nkey-length = 256\nhash = \"SHA256\"\nlifetime = 3600\n"),
     {"7:14: phase1.proposal[0].transform[0].encryption: must be one of AES, 3DES, AES-GCM, not 'DES' (did "
      "you mean "
      "'AES'?)"}},
    {"UnknownHash",
     withTransform("id = 1\nencryption = \"AES\"\nkey-length = 256\nhash = \"MD5\"\nlifetime = 3600\n"),
     {"9:8: phase1.proposal[0].transform[0].hash: must be one of SHA1, SHA256, SHA384, SHA512, AES-GCM, not "
      "'MD5'"}},
    {"HashInLowerCase",
     withTransform("id = 1\nencryption = \"AES\"\nkey-length = 256\nhash = \"sha512\"\nlifetime = 3600\n"),
     {"9:8: phase1.proposal[0].transform[0].hash: must be one of SHA1, SHA256, SHA384, SHA512, AES-GCM, not "
      "'sha512' (did you mean 'SHA512'?)"}},
    {"UnknownAuthentication",
     withTransformAnd("authentication = \"RSA-SIG\"\n"),
     {"11:18: phase1.proposal[0].transform[0].authentication: must be one of PSK, RSA_SIG, not 'RSA-SIG' "
      "(did you "
      "mean 'RSA_SIG'?)"}},
    {"UnknownGroup",
     withTransformAnd("group = 2\n"),
     {"11:9: phase1.proposal[0].transform[0].group: must be one of 14, 24, 19, 20, not 2"}},
    {"GroupAsAString",
     withTransformAnd("group = \"14\"\n"),
     {"11:9: phase1.proposal[0].transform[0].group: must be one of 14, 24, 19, 20, not the string '14'"}},
    {"LifetimeOfNothing",
     withTransform("id = 1\nencryption = \"AES\"\nkey-length = 256\nhash = \"SHA256\"\nlifetime = 0\n"),
     {"10:12: phase1.proposal[0].transform[0].lifetime: must be an integer from 1 to 2147483647, not 0"}},
    {"LifetimeThatDoesNotFit",
     withTransform(
         "id = 1\nencryption = \"AES\"\nkey-length = 256\nhash = \"SHA256\"\nlifetime = 2147483648\n"),
     {"10:12: phase1.proposal[0].transform[0].lifetime: must be an integer from 1 to 2147483647, not "
      "2147483648"}},
    {"KeyLengthOfAes",
     withTransform("id = 1\nencryption = \"AES\"\nkey-length = 512\nhash = \"SHA256\"\nlifetime = 3600\n"),
     {"8:14: phase1.proposal[0].transform[0].key-length: 512 is not allowed, must be one of 128, 192, 256 "
      "for AES"}},
    {"KeyLengthOfAesGcm",
     withTransform(
         "id = 1\nencryption = \"AES-GCM\"\nkey-length = 64\nhash = \"AES-GCM\"\nlifetime = 3600\n"),
     {"8:14: phase1.proposal[0].transform[0].key-length: 64 is not allowed, must be one of 128, 192, 256 for "
      "AES-GCM"}},
    {"KeyLengthOf3Des",
     withTransform("id = 1\nencryption = \"3DES\"\nkey-length = 128\nhash = \"SHA1\"\nlifetime = 3600\n"),
     {"8:14: phase1.proposal[0].transform[0].key-length: 128 is not allowed, must be one of 168, 192 for "
      "3DES"}},
    {"AesWithoutKeyLength",
     withTransform("id = 1\nencryption = \"AES\"\nhash = \"SHA1\"\nlifetime = 3600\n"),
     {"5:1: phase1.proposal[0].transform[0].key-length: is missing, must be one of 128, 192, 256 for AES"}},
    {"HashAesGcmWithoutItsEncryption",
     withTransform("id = 1\nencryption = \"AES\"\nkey-length = 256\nhash = \"AES-GCM\"\nlifetime = 3600\n"),
     {"9:8: phase1.proposal[0].transform[0].hash: 'AES-GCM' goes with encryption 'AES-GCM' only, not with "
      "'AES'"}},
};
INSTANTIATE_TEST_SUITE_P(Transforms, PolicyWithProblems, testing::ValuesIn(TRANSFORMS), nameOfRefusal);

const std::vector<Refusal> PRE_SHARED_KEYS = {
    {"NoKey",
     withTransformAnd("authentication = \"PSK\"\n"),
     {"11:18: phase1.proposal[0].transform[0].authentication: 'PSK' needs the key, as psk or psk-file"}},
    {"TwoKeys",
     withTransformAnd("authentication = \"PSK\"\npsk = \"abc\"\npsk-file = \"/run/key\"\n"),
     {"13:12: phase1.proposal[0].transform[0].psk-file: the key is there already as psk, only one of the two "
      "may be "
      "given"}},
    {"KeyWithoutAuthentication",
     withTransformAnd("psk = \"abc\"\n"),
     {"11:7: phase1.proposal[0].transform[0].psk: is of no use without authentication = \"PSK\""}},
    {"KeyBesideASignature",
     withTransformAnd(
         "authentication = \"RSA_SIG\"\npsk-file = \"/run/key\"\n[[certificate]]\nkind = \"end-entity\"\n"
         "certificate = \"/dev/null\"\nprivate-key = \"/dev/null\"\n"),
     {"12:12: phase1.proposal[0].transform[0].psk-file: is of no use without authentication = \"PSK\""}},
    {"EmptyKey",
     withTransformAnd("authentication = \"PSK\"\npsk = \"\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: the pre-shared key is empty"}},
    {"KeyWithAByteThatLosesItsZero",
     withTransformAnd("authentication = \"PSK\"\npsk = \"abc\\u0005d\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: byte 4 of the pre-shared key is 0x05, only 0x20 to 0x7E "
      "(printable "
      "ASCII) reach the engine unchanged"}},
    {"KeyWithAByteThatGrows",
     withTransformAnd("authentication = \"PSK\"\npsk = \"caf\u00e9\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: byte 4 of the pre-shared key is 0xC3, only 0x20 to 0x7E "
      "(printable "
      "ASCII) reach the engine unchanged"}},
    {"KeyWithDelete",
     withTransformAnd("authentication = \"PSK\"\npsk = \"\\u007f\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: byte 1 of the pre-shared key is 0x7F, only 0x20 to 0x7E "
      "(printable "
      "ASCII) reach the engine unchanged"}},
    {"KeyWithAControlCharacterThatSurvives",
     withTransformAnd("authentication = \"PSK\"\npsk = \"\\u001f\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: byte 1 of the pre-shared key is 0x1F, only 0x20 to 0x7E "
      "(printable "
      "ASCII) reach the engine unchanged"}},
    {"KeyWithATab",
     withTransformAnd("authentication = \"PSK\"\npsk = \"a\\tb\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: byte 2 of the pre-shared key is 0x09, only 0x20 to 0x7E "
      "(printable "
      "ASCII) reach the engine unchanged"}},
    {"KeyThatIsTooLong",
     withTransformAnd("authentication = \"PSK\"\npsk = \"" + std::string(4097, 'a') + "\"\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: the pre-shared key is longer than 4096 bytes"}},
    {"KeyOfAnotherType",
     withTransformAnd("authentication = \"PSK\"\npsk = 271828\n"),
     {"12:7: phase1.proposal[0].transform[0].psk: must be a string of printable ASCII characters, not a "
      "value of "
      "another type"}},
    {"KeyFileOfARelativePath",
     withTransformAnd("authentication = \"PSK\"\npsk-file = \"key\"\n"),
     {"12:12: phase1.proposal[0].transform[0].psk-file: must be an absolute path, not 'key'"}},
    {"KeyFileThatIsNotThere",
     withTransformAnd("authentication = \"PSK\"\npsk-file = \"/nonexistent/key\"\n"),
     {"12:12: phase1.proposal[0].transform[0].psk-file: '/nonexistent/key' cannot be used: No such file or "
      "directory"}},
    {"KeyFileThatIsADevice",
     withTransformAnd("authentication = \"PSK\"\npsk-file = \"/dev/zero\"\n"),
     {"12:12: phase1.proposal[0].transform[0].psk-file: '/dev/zero' cannot be used: not a regular file"}},
};
INSTANTIATE_TEST_SUITE_P(PreSharedKeys, PolicyWithProblems, testing::ValuesIn(PRE_SHARED_KEYS),
                         nameOfRefusal);

const std::vector<Refusal> RULES = {
    {"EmptyRule",
     withRule(""),
     {"3:1: rule[0].action: is missing, must be one of bypass, discard, use",
      "3:1: rule[0].source: is missing, must be an IP address, a network (address/length) or a range "
      "(first-last)",
      "3:1: rule[0].destination: is missing, must be an IP address, a network (address/length) or a range "
      "(first-last)",
      "3:1: rule[0].priority: is missing, must be an integer from 0 to 99"}},
    {"UnknownAction",
     withRule("action = \"drop\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 1\n"),
     {"4:10: rule[0].action: must be one of bypass, discard, use, not 'drop'"}},
    {"PriorityTooLarge",
     withRule("action = \"bypass\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 100\n"),
     {"7:12: rule[0].priority: must be an integer from 0 to 99, not 100"}},
    {"PriorityTooSmall",
     withRule("action = \"bypass\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = -1\n"),
     {"7:12: rule[0].priority: must be an integer from 0 to 99, not -1"}},
    {"AddressThatIsNone",
     withRule("action = \"bypass\"\nsource = \"192.0.2.256\"\ndestination = \"192.0.2.2\"\npriority = 1\n"),
     {"5:10: rule[0].source: must be an IP address, a network (address/length) or a range (first-last), not "
      "'192.0.2.256'"}},
    {"AddressesOfTwoFamilies",
     withRule("action = \"bypass\"\nsource = \"192.0.2.1\"\ndestination = \"2001:db8::1\"\npriority = 1\n"),
     {"6:15: rule[0].destination: '2001:db8::1' is IPv6, must be IPv4 like the source '192.0.2.1'"}},
    {"TwinRules",
     ENGINE + PHASES +
         "[[rule]]\naction = \"use\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 1\n"
         "[[rule]]\naction = \"use\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 2\n",
     {"26:10: rule[1].source: '192.0.2.1' to '192.0.2.2' is the pair of the rule in line 21 already, only "
      "one rule "
      "with action 'use' may have it"}},
    {"ProtectionWithoutPhases",
     withRule("action = \"use\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 1\n"),
     {"4:10: rule[0].action: 'use' needs at least one proposal in phase1, which is missing",
      "4:10: rule[0].action: 'use' needs at least one proposal in phase2, which is missing"}},
    {"UnknownIdentityType",
     withRuleAnd("identity-type = \"fqdn\"\nsource-identity = \"a\"\n"),
     {"8:17: rule[0].identity-type: must be one of none, ip, dn, email, not 'fqdn'"}},
    {"IdentityTypeWithoutIdentities",
     withRuleAnd("identity-type = \"ip\"\n"),
     {"3:1: rule[0].source-identity: is missing, must be an IP address for identity-type 'ip'",
      "3:1: rule[0].destination-identity: is missing, must be an IP address for identity-type 'ip'"}},
    {"IdentitiesWithoutAType",
     withRuleAnd("source-identity = \"192.0.2.1\"\n"),
     {"8:19: rule[0].source-identity: is of no use without an identity-type, one of ip, dn, email"}},
    {"IdentitiesOfTypeNone",
     withRuleAnd("identity-type = \"none\"\ndestination-identity = \"192.0.2.1\"\n"),
     {"9:24: rule[0].destination-identity: is of no use without an identity-type, one of ip, dn, email"}},
    {"IdentityThatIsNoAddress",
     withRuleAnd(
         "identity-type = \"ip\"\nsource-identity = \"host\"\ndestination-identity = \"192.0.2.2\"\n"),
     {"9:19: rule[0].source-identity: must be an IP address for identity-type 'ip', not 'host'"}},
    {"IdentityThatIsNoEmail",
     withRuleAnd(
         "identity-type = \"email\"\nsource-identity = \"a@b\"\ndestination-identity = \"b.example\"\n"),
     {"10:24: rule[0].destination-identity: must be an email address like \"name@example.org\" for "
      "identity-type "
      "'email', not 'b.example'"}},
    {"IdentityThatIsNoName",
     withRuleAnd("identity-type = \"dn\"\nsource-identity = \"device\"\ndestination-identity = \"CN=b\"\n"),
     {"9:19: rule[0].source-identity: must be a distinguished name like \"CN=device, O=Example\" for "
      "identity-type "
      "'dn', not 'device'"}},
};
INSTANTIATE_TEST_SUITE_P(Rules, PolicyWithProblems, testing::ValuesIn(RULES), nameOfRefusal);

const std::vector<Refusal> CERTIFICATES = {
    {"EmptyCertificate",
     ENGINE + "[[certificate]]\n",
     {"3:1: certificate[0].kind: is missing, must be one of end-entity, internal-ca, root-ca",
      "3:1: certificate[0].certificate: is missing, must be an absolute path"}},
    {"MissingFile",
     ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/nonexistent/ca.pem\"\n",
     {"5:15: certificate[0].certificate: '/nonexistent/ca.pem' is not there (No such file or directory), "
      "must be a "
      "file"}},
    {"Directory",
     ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/dev\"\n",
     {"5:15: certificate[0].certificate: '/dev' is a directory, must be a file"}},
    {"RelativePath",
     ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"ca.pem\"\n",
     {"5:15: certificate[0].certificate: must be an absolute path, not 'ca.pem'"}},
    {"MissingPrivateKeyFile",
     ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"/dev/null\"\nprivate-key = "
              "\"/dev/null/key\"\n",
     {"6:15: certificate[0].private-key: '/dev/null/key' is not there (Not a directory), must be a file"}},
    {"EndEntityWithoutPrivateKey",
     ENGINE + "[[certificate]]\nkind = \"end-entity\"\ncertificate = \"/dev/null\"\n",
     {"3:1: certificate[0].private-key: is missing, must be an absolute path for kind 'end-entity'"}},
    {"SignatureWithoutAnEndEntity",
     withTransformAnd("authentication = \"RSA_SIG\"\n[[certificate]]\nkind = \"root-ca\"\n"
                      "certificate = \"/dev/null\"\n"),
     {"11:18: phase1.proposal[0].transform[0].authentication: 'RSA_SIG' needs a certificate of kind "
      "'end-entity'"}},
    {"SignatureWithAKindThatMayHaveBeenMeant",
     withTransformAnd("authentication = \"RSA_SIG\"\n[[certificate]]\nkind = \"endentity\"\n"
                      "certificate = \"/dev/null\"\n"),
     {"13:8: certificate[0].kind: must be one of end-entity, internal-ca, root-ca, not 'endentity' (did you "
      "mean "
      "'end-entity'?)"}},
};
INSTANTIATE_TEST_SUITE_P(Certificates, PolicyWithProblems, testing::ValuesIn(CERTIFICATES), nameOfRefusal);

const std::vector<Refusal> SYNTAX_ERRORS = {
    {"NoValue",
     "[engine]\nfips =\n",
     {"2:7: : Error while parsing key-value pair: expected value, saw '\\n'"}},
    {"KeyTwice",
     "a = 1\na = 2\n",
     {"2:5: : Error while parsing key-value pair: cannot redefine existing integer 'a'"}},
    {"InvalidUtf8", "a = \"\xff\"\n", {"1:5: : Encountered invalid utf-8 sequence"}},
    {"SecretInAnInteger",
     "psk = 31415926535897932384626433\n",
     {"1:33: : Error while parsing decimal integer: '...' is not representable in 64 bits"}},
    {"SecretInAMultiLineString",
     "psk = \"\"\"\nab\\qcd\"\"\"\n",
     {"2:4: : Error while parsing string: unknown escape sequence '...'"}},
    {"LineOfManyLevels",
     "[engine]\n" + std::string(20000, 'a') + " = 1\n",
     {"2:1: : the line is longer than 16384 bytes"}},
};
INSTANTIATE_TEST_SUITE_P(Syntax, PolicyWithProblems, testing::ValuesIn(SYNTAX_ERRORS), nameOfRefusal);

TEST(PolicyProblems, ComeAllAtOnceInTheOrderOfTheirPlaces)
{
    const std::string policy = "[[rule]]\n"
                               "action = \"use\"\n"
                               "source = \"192.0.2.1\"\n"
                               "destination = \"2001:db8::1\"\n"
                               "priority = 100\n"
                               "[engine]\n"
                               "setting-file = \"engine.conf\"\n"
                               "fips = 1\n"
                               "colour = 1\n";
    const std::vector<std::string> expected = {
        "2:10: rule[0].action: 'use' needs at least one proposal in phase1, which is missing",
        "2:10: rule[0].action: 'use' needs at least one proposal in phase2, which is missing",
        "4:15: rule[0].destination: '2001:db8::1' is IPv6, must be IPv4 like the source '192.0.2.1'",
        "5:12: rule[0].priority: must be an integer from 0 to 99, not 100",
        "7:16: engine.setting-file: must be an absolute path, not 'engine.conf'",
        "8:8: engine.fips: must be true or false, not the integer 1",
        "9:1: engine.colour: is not a known key, only setting-file, fips, namespace"};
    EXPECT_EQ(expected, problemsOf(policy));
}

TEST(PolicyProblems, ShowNoPieceOfAKeyThatIsAccepted)
{
    const std::string policy =
        withTransformAnd("authentication = \"PSK\"\npsk = \"swordfish\"\n") + "colour = 1\n";
    ASSERT_EQ(1U, problemsOf(policy).size());
    EXPECT_THAT(problemsOf(policy).front(), testing::Not(testing::HasSubstr("sword")));
}

class PreSharedKeyFile : public testing::Test {
protected:
    std::vector<std::string> problemsWith(const std::string& path)
    {
        return problemsOf(withTransformAnd("authentication = \"PSK\"\npsk-file = \"" + path + "\"\n"));
    }

    Folder folder_;
};

TEST_F(PreSharedKeyFile, IsRefusedIfEverybodyMayReadIt)
{
    const std::string path = folder_.write("key", "swordfish\n");
    ASSERT_EQ(0, ::chmod(path.c_str(), 0604));
    EXPECT_EQ((std::vector<std::string>{"12:12: phase1.proposal[0].transform[0].psk-file: '" + path +
                                        "' cannot be used: open to everybody, mode 0604; use chmod o-rwx"}),
              problemsWith(path));
}

TEST_F(PreSharedKeyFile, MayBeReadByItsGroup)
{
    const std::string path = folder_.write("key", "swordfish\n");
    ASSERT_EQ(0, ::chmod(path.c_str(), 0640));
    EXPECT_EQ(std::vector<std::string>{}, problemsWith(path));
}

TEST_F(PreSharedKeyFile, LosesOneLineEndOnly)
{
    const std::string path = folder_.write("key", "sword\n\n");
    EXPECT_EQ(
        (std::vector<std::string>{"12:12: phase1.proposal[0].transform[0].psk-file: '" + path +
                                  "': byte 6 of the pre-shared key is 0x0A, only 0x20 to 0x7E (printable "
                                  "ASCII) reach the engine unchanged"}),
        problemsWith(path));
}

TEST_F(PreSharedKeyFile, MustHoldAKey)
{
    const std::string path = folder_.write("key", "\n");
    EXPECT_EQ((std::vector<std::string>{"12:12: phase1.proposal[0].transform[0].psk-file: '" + path +
                                        "': the pre-shared key is empty"}),
              problemsWith(path));
}

TEST_F(PreSharedKeyFile, IsReadNoFurtherThanAKeyMayBeLong)
{
    const std::string path = folder_.write("key", std::string(5000, 'a'));
    EXPECT_EQ((std::vector<std::string>{"12:12: phase1.proposal[0].transform[0].psk-file: '" + path +
                                        "' cannot be used: larger than 4097 bytes"}),
              problemsWith(path));
}

TEST_F(PreSharedKeyFile, OfTheLongestLengthIsTaken)
{
    EXPECT_EQ(std::vector<std::string>{}, problemsWith(folder_.write("key", std::string(4096, 'a') + "\n")));
}

// As somebody whom the permissions of files bind.
class Nobody {
public:
    Nobody() { (void)!::seteuid(65534); }
    ~Nobody() { (void)!::seteuid(::getuid()); }
    Nobody(const Nobody&) = delete;
    Nobody& operator=(const Nobody&) = delete;
};

TEST(CertificateFile, ThatTheCallerMayNotLookAtIsLeftToTheServer)
{
    const Folder folder; // for its owner only
    ASSERT_EQ(0, ::chmod((folder / "").c_str(), ::getuid() == 0 ? 0700 : 0));
    const Nobody nobody;
    EXPECT_EQ(std::vector<std::string>{},
              problemsOf(ENGINE + "[[certificate]]\nkind = \"root-ca\"\ncertificate = \"" +
                         (folder / "ca.pem") + "\"\n"));
}

TEST(PreSharedKeyFileOfSomebodyElse, IsRefused)
{
    const Folder folder;
    const std::string path = folder.write("key", "swordfish\n");
    ASSERT_EQ(0, ::chmod((folder / "").c_str(), 0711));
    ASSERT_EQ(0, ::chmod(path.c_str(), 0));
    const Nobody nobody;
    EXPECT_EQ((std::vector<std::string>{"12:12: phase1.proposal[0].transform[0].psk-file: '" + path +
                                        "' cannot be used: Permission denied"}),
              problemsOf(withTransformAnd("authentication = \"PSK\"\npsk-file = \"" + path + "\"\n")));
}

} // namespace
