// The standalone engine's setting file: everything that it does not accept.

#include "Settings.h"

#include "server_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::standalone;

const std::string GOOD = R"({
"format": 1, "fips": false, "namespace": "",
"phase1": [{"id": 1, "transforms": [{"id": 1, "encryption": "AES", "key-length": 256, "hash": "SHA256",
  "authentication": "PSK", "authentication-data": "SECRET", "group": 14, "lifetime": 28800}]}],
"phase2": [],
"rules": [{"action": "use", "source": "a", "destination": "b", "priority": 99, "identity-type": "ip",
  "source-identity": "", "destination-identity": ""}],
"certificates": [{"kind": "root-ca", "certificate": "c", "private-key": ""}]
})";

class StandaloneSettings : public ::testing::Test {
protected:
    /// What the engine says to a file, without its name; "accepted" if it takes it.
    std::string verdictOn(const std::string& text)
    {
        tests::writeFile(file, text);
        try {
            readSettings(file);
        } catch (const std::runtime_error& refusal) {
            const std::string message = refusal.what();
            EXPECT_EQ(0U, message.find(file + ":")) << message;
            EXPECT_EQ(std::string::npos, message.find("SECRET")) << message;
            return message.substr(file.size() + 1);
        }
        return "accepted";
    }

    /// A text with ' in place of ".
    static std::string quoted(std::string text)
    {
        tests::replaceAll(text, "'", "\"");
        return text;
    }

    /// GOOD with one text put in place of another, both with ' in place of ".
    static std::string with(const std::string& from, const std::string& to)
    {
        std::string text = GOOD;
        EXPECT_NE(std::string::npos, text.find(quoted(from))) << from;
        tests::replaceAll(text, quoted(from), quoted(to));
        return text;
    }

    tests::TemporaryFolder folder;
    const std::string file = folder / "engine.conf";
};

TEST_F(StandaloneSettings, AreAcceptedIfEverythingIsRight)
{
    EXPECT_EQ("accepted", verdictOn(GOOD));
}

TEST_F(StandaloneSettings, MayLackWhatAPolicyMayLack)
{
    EXPECT_EQ("accepted", verdictOn(with("'authentication': 'PSK', 'authentication-data': 'SECRET', ", "")));
    EXPECT_EQ("accepted", verdictOn(with("'group': 14, ", "")));
    EXPECT_EQ("accepted", verdictOn(with("'AES', 'key-length': 256", "'3DES'")));
}

TEST_F(StandaloneSettings, AreRefusedWithThePlaceAndWhatIsAllowed)
{
    const std::string transform = " phase1[0].transforms[0]";
    const struct {
        std::string from;
        std::string to;
        std::string verdict;
    } cases[] = {
        {"'format': 1, ", "", " format: is missing"},
        {"'format': 1", "'format': 2", " format: 2 is not allowed, only 1 to 1"},
        {"'format': 1", "'format': '1'", " format: must be an integer"},
        {"'format': 1", "'format': 1.0", " format: must be an integer"},
        {"'format': 1", "'format': 1, 'x\\ny': 1", " the file: has an unknown member 'x\\ny'"},
        {"false", "0", " fips: must be true or false"},
        {"'namespace': ''", "'namespace': null", " namespace: must be a string"},
        {"'phase2': []", "'phase2': {}", " phase2: must be an array"},
        {"'phase2': []", "'phase2': [1]", " phase2[0]: must be an object"},
        {"'phase2': [],", "", " phase2: is missing"},
        {"[{'id': 1, 'tr", "[{'tr", " phase1[0].id: is missing"},
        {"[{'id': 1, 'tr", "[{'id': 4294967297, 'tr",
         " phase1[0].id: 4294967297 is not allowed, only -2147483648 to 2147483647"},
        {"[{'id': 1, 'tr", "[{'id': 18446744073709551615, 'tr",
         " phase1[0].id: 18446744073709551615 is not allowed, only -2147483648 to 2147483647"},
        {"'AES'", "'DES'", transform + ".encryption: 'DES' is not allowed, only 'AES', '3DES', 'AES-GCM'"},
        {"'key-length': 256", "'key-length': 64",
         transform + ".key-length: 64 is not allowed, only 128, 192, 256"},
        {"'key-length': 256, ", "", transform + ".key-length: is missing"},
        {"'AES', 'key-length': 256", "'3DES', 'key-length': 256",
         transform + ".key-length: 256 is not allowed, only 0, 168, 192"},
        {"'SHA256'", "'MD5'",
         transform + ".hash: 'MD5' is not allowed, only 'SHA1', 'SHA256', 'SHA384', 'SHA512', 'AES-GCM'"},
        {"'PSK'", "'psk'", transform + ".authentication: 'psk' is not allowed, only 'PSK', 'RSA_SIG'"},
        {", 'authentication-data': 'SECRET'", "", transform + ".authentication-data: is missing"},
        {"'SECRET'", "''", transform + ".authentication-data: must not be empty"},
        {"'SECRET'", "['SECRET']", transform + ".authentication-data: must be a string"},
        {"'authentication': 'PSK', ", "", transform + ": has an unknown member 'authentication-data'"},
        {"'group': 14", "'group': 2", transform + ".group: 2 is not allowed, only 14, 24, 19, 20"},
        {"'lifetime': 28800", "'lifetime': 0",
         transform + ".lifetime: 0 is not allowed, only 1 to 2147483647"},
        {", 'lifetime': 28800", "", transform + ".lifetime: is missing"},
        {"'use'", "'protect'", " rules[0].action: 'protect' is not allowed, only 'use', 'bypass', 'discard'"},
        {"'priority': 99", "'priority': 100", " rules[0].priority: 100 is not allowed, only 0 to 99"},
        {"'priority': 99", "'priority': -1", " rules[0].priority: -1 is not allowed, only 0 to 99"},
        {"'priority': 99, ", "", " rules[0].priority: is missing"},
        {"'ip'", "'mac'", " rules[0].identity-type: 'mac' is not allowed, only 'none', 'ip', 'dn', 'email'"},
        {"'source': 'a'", "'src': 'a'", " rules[0].source: is missing"},
        {"'source': 'a'", "'source': 'a', 'port': 1", " rules[0]: has an unknown member 'port'"},
        {"'root-ca'", "'ca'",
         " certificates[0].kind: 'ca' is not allowed, only 'end-entity', 'internal-ca', 'root-ca'"},
        {"'certificate': 'c'", "'certificate': 1", " certificates[0].certificate: must be a string"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(quoted(one.verdict), verdictOn(with(one.from, one.to))) << one.from << " -> " << one.to;
}

TEST_F(StandaloneSettings, AreRefusedWithThePositionIfTheyAreNotJson)
{
    EXPECT_EQ("1:1: is not JSON", verdictOn(""));
    EXPECT_EQ("1:1: is not JSON", verdictOn("x"));
    EXPECT_EQ("2:1: is not JSON", verdictOn("{\n]"));
    EXPECT_EQ("1:3: is not JSON", verdictOn("{}}"));
    EXPECT_EQ("2:10: is not JSON", verdictOn("{\"a\":\n\"SECRET\" SECRET"));
    EXPECT_EQ("2:8: is not JSON", verdictOn("{\n\"a\": \"x\n\"}")); // a text that its line's end breaks off
    EXPECT_EQ(" the file: must be an object", verdictOn("[]"));
}

TEST_F(StandaloneSettings, AreRefusedWhereverTheyAreCutOff)
{
    for (std::size_t size = 0; size < GOOD.size(); ++size)
        EXPECT_NE(std::string::npos, verdictOn(GOOD.substr(0, size)).find(": is not JSON")) << size;
}

TEST_F(StandaloneSettings, AreRefusedIfTheyCannotBeRead)
{
    EXPECT_THROW(readSettings(file), std::runtime_error);
    ASSERT_EQ(0, mkfifo(file.c_str(), 0600));
    try {
        readSettings(file);
        FAIL() << "accepted";
    } catch (const std::runtime_error& refusal) {
        EXPECT_EQ(file + ": is not a regular file", std::string(refusal.what()));
    }
    try {
        readSettings(folder / "none");
        FAIL() << "accepted";
    } catch (const std::runtime_error& refusal) {
        EXPECT_EQ(folder / "none" + ": No such file or directory", std::string(refusal.what()));
    }
}

} // namespace
