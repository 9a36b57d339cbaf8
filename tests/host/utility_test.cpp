// Path utilities.

#include "Utility.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

using Pieces = std::vector<std::string>;

TEST(Split, CutsATextAtEachSeparator)
{
    const struct {
        const char* text;
        Pieces pieces;
    } rows[] = {{"", {}},
                {":", {""}},
                {"a", {"a"}},
                {"a:b", {"a", "b"}},
                {"a:b:", {"a", "b"}},
                {"a::b", {"a", "", "b"}},
                {":a", {"", "a"}},
                {"a::", {"a", ""}},
                {"a\nb", {"a\nb"}}};
    for (const auto& row : rows)
        EXPECT_EQ(row.pieces, split(row.text, ':')) << row.text;
    EXPECT_EQ((Pieces{"a", "b"}), split("a b", ' '));
}

TEST(Split, AppendsToWhatIsThereAndReturnsIt)
{
    Pieces pieces = {"before"};
    EXPECT_EQ(&pieces, &split("a:b", ':', pieces));
    EXPECT_EQ((Pieces{"before", "a", "b"}), pieces);
}

TEST(Split, CutsATextThatIsOneOfThePieces)
{
    const std::string first = "a piece that is too long to be kept in place";
    Pieces pieces = {first + ":b:c:d"};
    EXPECT_EQ((Pieces{first + ":b:c:d", first, "b", "c", "d"}), split(pieces.front(), ':', pieces));
}

class FindExecPath : public ::testing::Test {
protected:
    FindExecPath()
    {
        std::filesystem::create_directories(first_);
        std::filesystem::create_directories(second_);
        searchAlong(first_ + ":" + second_);
    }

    ~FindExecPath() override
    {
        std::filesystem::remove_all(root_);
        setenv("PATH", path_.c_str(), 1);
    }

    static void searchAlong(const std::string& path) { setenv("PATH", path.c_str(), 1); }

    static void make(const std::string& path, std::filesystem::perms mode)
    {
        std::ofstream(path) << "x";
        std::filesystem::permissions(path, mode);
    }

    const std::string path_ = std::getenv("PATH");
    const std::string root_ = ::testing::TempDir() + "find-exec-path-" + std::to_string(getpid());
    const std::string first_ = root_ + "/first";
    const std::string second_ = root_ + "/second";
};

using std::filesystem::perms;

TEST_F(FindExecPath, TakesTheFirstDirectoryThatHasIt)
{
    make(second_ + "/server", perms::owner_all);
    EXPECT_EQ(second_ + "/server", findExecPath("server"));
    make(first_ + "/server", perms::owner_all);
    EXPECT_EQ(first_ + "/server", findExecPath("server"));
}

TEST_F(FindExecPath, NeedsThePermissionOfTheOwnerToExecute)
{
    make(first_ + "/server", perms::owner_read | perms::group_exec | perms::others_exec);
    EXPECT_EQ("", findExecPath("server"));
    make(second_ + "/server", perms::owner_exec);
    EXPECT_EQ(second_ + "/server", findExecPath("server"));
}

TEST_F(FindExecPath, AcceptsADirectoryForANameThatIsNoKernelModule)
{
    std::filesystem::create_directories(first_ + "/server");
    EXPECT_EQ(first_ + "/server", findExecPath("server"));
}

TEST_F(FindExecPath, TakesAKernelModuleThatIsARegularFile)
{
    for (const std::string name : {"esp4.ko", "a.b.ko", "ko"}) {
        std::filesystem::create_directories(first_ + "/" + name);
        EXPECT_EQ("", findExecPath(name)) << name;
        make(second_ + "/" + name, perms::owner_read);
        EXPECT_EQ(second_ + "/" + name, findExecPath(name)) << name;
    }
}

TEST_F(FindExecPath, KnowsAKernelModuleByItsExactEnding)
{
    for (const std::string name : {"esp4.KO", "esp4.ko.gz", "esp4ko", "esp4.kob"}) {
        make(first_ + "/" + name, perms::owner_read);
        EXPECT_EQ("", findExecPath(name)) << name;
    }
}

TEST_F(FindExecPath, ReadsAnEmptyEntryAsTheRoot)
{
    // A name relative to the root, so that "" + "/" + name is a path of the test's own folder.
    make(first_ + "/server", perms::owner_all);
    const std::string name = first_.substr(1) + "/server";
    searchAlong("/no/such/directory::" + second_);
    EXPECT_EQ("/" + name, findExecPath(name));
}

TEST_F(FindExecPath, FindsNothingWithoutASearchPath)
{
    make(first_ + "/server", perms::owner_all);
    searchAlong("");
    EXPECT_EQ("", findExecPath("server"));
    unsetenv("PATH");
    EXPECT_EQ("", findExecPath("server"));
}

} // namespace
} // namespace tests
