// The policy model when there is no memory: each operation with each of its allocations failing in turn.

#include "Certificate.h"
#include "FailingHeap.h"
#include "IPsecEngineControlClient.h"
#include "IPsecPolicy.h"
#include "PayloadBuilder.h"
#include "PayloadVisitor.h"
#include "SettingManager.h"
#include "Utility.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

// Longer than what a string holds without an allocation.
const std::string LONG = "a text that is too long to be kept without memory";
const std::string OTHER = "another text that is too long to be kept without memory";

std::string attributesWith(const std::string& key)
{
    return "EncryptionAlgorithm: value: AES\nKeyLength: value: 256\nHashAlgorithm: value: SHA256\n"
           "AuthenticationMethod: value: PSK: data: " +
           key + "\nGroupDescription: value: Group14\nLifeType: value: SECOND\nLifeDuration: value: 28800\n";
}

// The payload tree

class PayloadMemory : public ::testing::Test {
protected:
    const PayloadPtr tree_ = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                       AuthenticationMethod::PSK, LONG, GroupDescription::G14,
                                                       LifeType::SECOND, 28800);
    const PayloadPtr proposal_ = tree_->getChild(0);
    const PayloadPtr transform_ = proposal_->getChild(0);
    const PayloadPtr authentication_ = transform_->getChild(3);
    const PayloadPtr leaf_ = createKeyLength(128);
};

// A text that misses its end would be taken for the whole.
TEST_F(PayloadMemory, ThatRunsOutNeverShortensAText)
{
    const std::string whole =
        "SecurityAssociation: \nproposalID: 0\ntransformID: 0\n" + attributesWith(LONG) + "\n\n";
    std::string text;
    EXPECT_LT(3, failEachAllocation([&] { text = tree_->to_string(); }, [&] { EXPECT_EQ("", text); }));
    EXPECT_EQ(whole, text);
}

// Utility

TEST(UtilityMemory, ThatRunsOutNeverHidesAPieceOfAText)
{
    const std::string text = LONG + ":" + OTHER + ":b";
    std::vector<std::string> pieces;
    EXPECT_LT(2, failEachAllocation([&] { pieces = split(text, ':'); },
                                    [&] { EXPECT_EQ(std::vector<std::string>(), pieces); }));
    EXPECT_EQ((std::vector<std::string>{LONG, OTHER, "b"}), pieces);
}

TEST(UtilityMemory, ThatRunsOutKeepsThePiecesThatWereThere)
{
    std::vector<std::string> pieces = {"first"};
    const auto check = [&] {
        ASSERT_FALSE(pieces.empty());
        EXPECT_EQ("first", pieces.front());
        EXPECT_GE(3U, pieces.size());
        EXPECT_TRUE(pieces.size() == 1 || pieces[1] == LONG);
        std::vector<std::string>{"first"}.swap(pieces);
    };
    EXPECT_LT(2, failEachAllocation([&] { split(LONG + ":" + OTHER, ':', pieces); }, check));
    EXPECT_EQ((std::vector<std::string>{"first", LONG, OTHER}), pieces);
}

// Another file would be taken in its place.
TEST(UtilityMemory, ThatRunsOutNeverMakesAFileLookLikeNotThere)
{
    const std::string folder = ::testing::TempDir() + "model-memory-a-folder-of-the-path";
    const std::string program = folder + "/program";
    const std::string path = std::getenv("PATH");
    std::system(("mkdir -p " + folder + " && touch " + program + " && chmod +x " + program).c_str());
    setenv("PATH", ("/a/folder/that/is/not/there/at/all:" + folder).c_str(), 1);
    std::string found;
    EXPECT_LT(3, failEachAllocation([&] { found = findExecPath("program"); }, [&] { EXPECT_EQ("", found); }));
    EXPECT_EQ(program, found);
    setenv("PATH", path.c_str(), 1);
    unlink(program.c_str());
    rmdir(folder.c_str());
}

} // namespace
} // namespace tests
