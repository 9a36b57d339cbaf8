// What `show` prints: the policy for people, and the request.

#include "client_support.h"

#include "CArrayParser.h"
#include "Masking.h"
#include "PolicyView.h"
#include "RequestText.h"
#include "StarterPolicy.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

namespace {

using namespace norvale::tamber::systemdata; // NOLINT(google-build-using-namespace)
using ipseccfg::client::masked;
using ipseccfg::client::maskedRequestText;
using ipseccfg::client::Policy;
using ipseccfg::client::requestText;
using ipseccfg::client::viewOf;
using testing::HasSubstr;
using testing::Not;
using tests::policyOf;

// Two transforms with a key, in one phase each, of different lengths.
const std::string POLICY = "[engine]\n"
                           "setting-file = \"/run/engine.conf\"\n"
                           "fips = true\n"
                           "namespace = \"blue\"\n"
                           "[[phase1.proposal]]\n"
                           "id = 1\n"
                           "[[phase1.proposal.transform]]\n"
                           "id = 1\n"
                           "encryption = \"AES\"\n"
                           "key-length = 256\n"
                           "hash = \"SHA256\"\n"
                           "authentication = \"PSK\"\n"
                           "psk = \"swordfish\"\n"
                           "group = 14\n"
                           "lifetime = 28800\n"
                           "[[phase1.proposal.transform]]\n"
                           "id = 2\n"
                           "encryption = \"3DES\"\n"
                           "hash = \"SHA1\"\n"
                           "authentication = \"RSA_SIG\"\n"
                           "group = 24\n"
                           "lifetime = 3600\n"
                           "[[phase1.proposal]]\n"
                           "id = 2\n"
                           "[[phase1.proposal.transform]]\n"
                           "id = 1\n"
                           "encryption = \"AES-GCM\"\n"
                           "key-length = 128\n"
                           "hash = \"SHA384\"\n"
                           "lifetime = 60\n"
                           "[[phase2.proposal]]\n"
                           "id = 1\n"
                           "[[phase2.proposal.transform]]\n"
                           "id = 1\n"
                           "encryption = \"AES-GCM\"\n"
                           "key-length = 192\n"
                           "hash = \"AES-GCM\"\n"
                           "authentication = \"PSK\"\n"
                           "psk = \"a much longer pre-shared key\"\n"
                           "lifetime = 3600\n"
                           "[[rule]]\n"
                           "action = \"bypass\"\n"
                           "source = \"192.0.2.1\"\n"
                           "destination = \"192.0.2.53\"\n"
                           "priority = 5\n"
                           "[[rule]]\n"
                           "action = \"use\"\n"
                           "source = \"2001:db8::1\"\n"
                           "destination = \"2001:db8:1::/48\"\n"
                           "identity-type = \"dn\"\n"
                           "source-identity = \"CN=ger\u00e4t\"\n"
                           "destination-identity = \"CN=gateway\"\n"
                           "priority = 10\n"
                           "[[certificate]]\n"
                           "kind = \"end-entity\"\n"
                           "certificate = \"/dev/null\"\n"
                           "private-key = \"/dev/zero\"\n"
                           "[[certificate]]\n"
                           "kind = \"root-ca\"\n"
                           "certificate = \"/dev/full\"\n";

TEST(PolicyView, ShowsTreesAndTables)
{
    EXPECT_EQ("Engine\n"
              "  setting file  /run/engine.conf\n"
              "  FIPS mode     on\n"
              "  namespace     blue\n"
              "\n"
              "Phase 1\n"
              "  |- proposal 1\n"
              "  |  |- transform 1: AES 256 bits, SHA256, PSK ********, group 14, for 28800 s\n"
              "  |  `- transform 2: 3DES, SHA1, RSA_SIG, group 24, for 3600 s\n"
              "  `- proposal 2\n"
              "     `- transform 1: AES-GCM 128 bits, SHA384, for 60 s\n"
              "\n"
              "Phase 2\n"
              "  `- proposal 1\n"
              "     `- transform 1: AES-GCM 192 bits, AES-GCM, PSK ********, for 3600 s\n"
              "\n"
              "Rules\n"
              "  #  priority  action  source       destination      identity-type  source-identity  "
              "destination-identity\n"
              "  0  10        use     2001:db8::1  2001:db8:1::/48  dn             CN=ger\u00e4t         "
              "CN=gateway\n"
              "  1  5         bypass  192.0.2.1    192.0.2.53       none           -                -\n"
              "\n"
              "Certificates\n"
              "  kind        certificate  private-key\n"
              "  end-entity  /dev/null    /dev/zero\n"
              "  root-ca     /dev/full    -\n",
              viewOf(masked(policyOf(POLICY))));
}

TEST(PolicyView, OfAPolicyToBeginWithFitsATerminal)
{
    std::istringstream view(viewOf(masked(policyOf(ipseccfg::client::starterPolicy()))));
    std::vector<std::string> lines;
    for (std::string line; std::getline(view, line);) {
        EXPECT_LE(line.size(), 80U) << line;
        lines.push_back(line);
    }
    EXPECT_THAT(lines, testing::Contains("  #  priority  action  source     destination"));
    EXPECT_THAT(lines, testing::Contains("  0  10        use     192.0.2.1  192.0.2.2"));
}

TEST(PolicyView, SaysWhatThereIsNot)
{
    EXPECT_EQ("Engine\n"
              "  setting file  /run/engine.conf\n"
              "  FIPS mode     off\n"
              "  namespace     -\n"
              "\n"
              "Phase 1: none\n"
              "\n"
              "Phase 2: none\n"
              "\n"
              "Rules: none\n"
              "\n"
              "Certificates: none\n",
              viewOf(policyOf(tests::ENGINE)));
}

TEST(PolicyView, ShowsKeysOfAPolicyThatIsNotMasked)
{
    const std::string view = viewOf(policyOf(POLICY));
    EXPECT_THAT(view, HasSubstr("PSK swordfish"));
    EXPECT_THAT(view, HasSubstr("PSK a much longer pre-shared key"));
}

TEST(Masked, LeavesTheOriginalAsItIs)
{
    const Policy policy = policyOf(POLICY);
    masked(policy);
    EXPECT_THAT(viewOf(policy), HasSubstr("PSK swordfish"));
}

TEST(Masked, DiffersFromTheOriginalInTheKeysOnly)
{
    const Policy policy = policyOf(POLICY);
    std::string view = viewOf(policy);
    for (const char* const key : {"swordfish", "a much longer pre-shared key"})
        view.replace(view.find(key), std::string(key).size(), "********");
    EXPECT_EQ(view, viewOf(masked(policy)));
}

// The environment variable IPSECCFGSERVER, or PATH, as long as it lives.
class Environment {
public:
    Environment(const char* name, const char* value)
        : name_(name)
    {
        if (const char* const old = std::getenv(name))
            old_ = old;
        if (value == nullptr)
            ::unsetenv(name);
        else
            ::setenv(name, value, 1);
    }
    ~Environment()
    {
        if (old_)
            ::setenv(name_, old_->c_str(), 1);
        else
            ::unsetenv(name_);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

TEST(RequestText, NamesTheServerThatTheEnvironmentNames)
{
    const Environment server("IPSECCFGSERVER", "./my-server");
    EXPECT_THAT(requestText(policyOf(tests::ENGINE)), HasSubstr("<methodName>./my-server</methodName>"));
}

TEST(RequestText, NamesTheServerThatThePathHas)
{
    const tests::Folder folder;
    folder.write("systemdataIPsecCfgServer", "");
    const Environment server("IPSECCFGSERVER", nullptr);
    const Environment path("PATH", folder.path().c_str());
    EXPECT_THAT(requestText(policyOf(tests::ENGINE)),
                HasSubstr("<methodName>" + (folder / "systemdataIPsecCfgServer") + "</methodName>"));
}

TEST(RequestText, NamesTheBuiltInServerIfThereIsNoOther)
{
    const Environment server("IPSECCFGSERVER", nullptr);
    const Environment path("PATH", "/nonexistent");
    EXPECT_THAT(
        requestText(policyOf(tests::ENGINE)),
        HasSubstr("<methodName>/home/halden/.lattice/tools/bin/systemdataIPsecCfgServer</methodName>"));
}

TEST(RequestText, HoldsScenarioAssociationsRulesAndCertificatesInThisOrder)
{
    const std::string text = requestText(policyOf(POLICY));
    const std::regex tableId("<name>table-id</name>\\s*<value><int>([0-9])</int>");
    std::string ids;
    for (std::sregex_iterator match(text.begin(), text.end(), tableId), end; match != end; ++match)
        ids += (*match)[1];
    EXPECT_EQ("0"
              "1111"
              "22"
              "33",
              ids);
}

TEST(RequestText, OfAServerThatCannotBeNamedIsNone)
{
    const Environment server("IPSECCFGSERVER", "/a\x01");
    try {
        requestText(policyOf(tests::ENGINE));
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("the server's path holds a character that a request cannot carry", error.what());
    }
}

// The bytes of a key as the wire has them.
std::string inHexadecimal(const std::string& key)
{
    std::ostringstream text;
    for (const char byte : key)
        text << std::hex << static_cast<int>(byte);
    return text.str();
}

TEST(MaskedRequestText, DiffersFromTheRequestInTheKeysOnly)
{
    const Policy policy = policyOf(POLICY);
    std::string text = requestText(policy);
    for (const std::string key : {"swordfish", "a much longer pre-shared key"}) {
        const std::string hexadecimal = inHexadecimal(key);
        ASSERT_THAT(text, HasSubstr("<string>0x" + hexadecimal + "</string>"));
        text.replace(text.find(hexadecimal), hexadecimal.size(), "********");
    }
    EXPECT_EQ(text, maskedRequestText(policy));
}

TEST(MaskedRequestText, HoldsNoKeyInAnyForm)
{
    const std::string text = maskedRequestText(policyOf(POLICY));
    EXPECT_THAT(text, Not(HasSubstr("sword")));
    EXPECT_THAT(text, Not(HasSubstr(inHexadecimal("sword"))));
    EXPECT_THAT(text, Not(HasSubstr("longer")));
    EXPECT_THAT(text, Not(HasSubstr(inHexadecimal("longer"))));
}

TEST(MaskedRequestText, IsWellFormed)
{
    std::istringstream stream(maskedRequestText(policyOf(POLICY)));
    parser::CIStream in(stream);
    parser::CArrayParser request;
    EXPECT_EQ(0, request.parse(in));
    EXPECT_EQ(9U, request.getElements().size());
}

} // namespace
