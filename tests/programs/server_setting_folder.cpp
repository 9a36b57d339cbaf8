// Where setting files may lie, and how they are written.

#include "Exceptions.h"
#include "ServerLock.h"
#include "SettingFolder.h"
#include "UnfinishedChange.h"

#include "Swapper.h"
#include "server_support.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class ServerSettingFolder : public ::testing::Test {
protected:
    /// What is wrong with a path; "accepted" if nothing is.
    std::string verdictOn(const std::string& path)
    {
        try {
            SettingFolder(directory).locate(path);
        } catch (const std::runtime_error& refusal) {
            return refusal.what();
        }
        return "accepted";
    }

    /// The refusal of a path for a reason.
    static std::string refusal(const std::string& path, const std::string& why)
    {
        return "setting-file-path: " + path + ": " + why;
    }

    tests::TemporaryFolder temporary;
    const std::string directory = temporary / "settings";
    const SettingFolder folder{directory};
};

TEST_F(ServerSettingFolder, IsMadeForTheServerAlone)
{
    EXPECT_EQ(0700U, tests::modeOf(directory));
    EXPECT_EQ(temporary / "a/b" + ": No such file or directory",
              tests::textThrownBy<std::runtime_error>([this] { SettingFolder(temporary / "a/b"); }));
}

TEST_F(ServerSettingFolder, IsAFolderOfTheServersOwn)
{
    tests::writeFile(temporary / "file", "");
    EXPECT_EQ(temporary / "file" + ": Not a directory",
              tests::textThrownBy<std::runtime_error>([this] { SettingFolder(temporary / "file"); }));
    chmod(directory.c_str(), 0777);
    EXPECT_EQ(directory + ": other users may write in it",
              tests::textThrownBy<std::runtime_error>([this] { SettingFolder again(directory); }));
}

TEST_F(ServerSettingFolder, IsNotOneOfAnotherUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    ASSERT_EQ(0, chown(directory.c_str(), 65534, 65534));
    EXPECT_EQ(directory + ": belongs to another user",
              tests::textThrownBy<std::runtime_error>([this] { SettingFolder again(directory); }));
}

TEST_F(ServerSettingFolder, TakesFilesInItselfAndInFoldersBelow)
{
    std::filesystem::create_directories(directory + "/a/b");
    tests::writeFile(directory + "/old.conf", "");
    EXPECT_EQ("accepted", verdictOn(directory + "/new.conf"));
    EXPECT_EQ("accepted", verdictOn(directory + "/old.conf"));
    EXPECT_EQ("accepted", verdictOn(directory + "/a/b/c"));
    EXPECT_EQ("accepted", verdictOn(directory + "/a..b"));
}

TEST_F(ServerSettingFolder, RefusesPathsThatLeadElsewhere)
{
    for (const std::string path : {"/etc/passwd", "engine.conf", "../engine.conf", "", "/"})
        EXPECT_EQ(refusal(path, "must lie below " + directory), verdictOn(path));
    EXPECT_EQ(refusal(directory, "must lie below " + directory), verdictOn(directory));
    EXPECT_EQ(refusal(directory + "x/engine.conf", "must lie below " + directory),
              verdictOn(directory + "x/engine.conf"));
    EXPECT_EQ(refusal("/" + directory + "/x", "must lie below " + directory),
              verdictOn("/" + directory + "/x"));
}

TEST_F(ServerSettingFolder, RefusesComponentsThatAreNotNames)
{
    std::filesystem::create_directory(directory + "/a");
    for (const std::string rest :
         {"", "/", "a/", "a//b", "/a", "..", "../x", "a/../b", "a/..", ".", "./a", "a/./b", ".lock",
          ".current", ".reason", ".x.new", "a/.hidden", ".git/config"}) {
        const std::string path = directory + "/" + rest;
        EXPECT_EQ(refusal(path, "must have no component that is empty or begins with a '.'"),
                  verdictOn(path));
    }
}

TEST_F(ServerSettingFolder, RefusesALinkAsTheFile)
{
    tests::writeFile(temporary / "victim", "");
    for (const std::string& target : {temporary / "victim", temporary / "none", std::string("new.conf")}) {
        const std::string path = directory + "/link";
        ASSERT_EQ(0, symlink(target.c_str(), path.c_str()));
        EXPECT_EQ(refusal(path, "is a link"), verdictOn(path));
        unlink(path.c_str());
    }
}

TEST_F(ServerSettingFolder, RefusesALinkOnTheWay)
{
    std::filesystem::create_directories(directory + "/real/below");
    ASSERT_EQ(0, symlink("real", (directory + "/link").c_str()));
    ASSERT_EQ(0, symlink("/etc", (directory + "/real/out").c_str()));
    EXPECT_EQ(refusal(directory + "/link/x", "the folder 'link': is a link"),
              verdictOn(directory + "/link/x"));
    EXPECT_EQ(refusal(directory + "/real/out/passwd", "the folder 'out': is a link"),
              verdictOn(directory + "/real/out/passwd"));
}

TEST_F(ServerSettingFolder, RefusesWhatIsNoRegularFile)
{
    std::filesystem::create_directory(directory + "/folder");
    ASSERT_EQ(0, mkfifo((directory + "/fifo").c_str(), 0600));
    EXPECT_EQ(refusal(directory + "/folder", "is not a regular file"), verdictOn(directory + "/folder"));
    EXPECT_EQ(refusal(directory + "/fifo", "is not a regular file"), verdictOn(directory + "/fifo"));
}

TEST_F(ServerSettingFolder, RefusesADevice)
{
    if (mknod((directory + "/null").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0)
        GTEST_SKIP() << "only root can make a device";
    EXPECT_EQ(refusal(directory + "/null", "is not a regular file"), verdictOn(directory + "/null"));
}

TEST_F(ServerSettingFolder, RefusesWhatIsNoFolderOnTheWay)
{
    tests::writeFile(directory + "/file", "");
    std::filesystem::create_directory(directory + "/open");
    chmod((directory + "/open").c_str(), 0777);
    EXPECT_EQ(refusal(directory + "/none/x", "the folder 'none': No such file or directory"),
              verdictOn(directory + "/none/x"));
    EXPECT_EQ(refusal(directory + "/file/x", "the folder 'file': is not a folder"),
              verdictOn(directory + "/file/x"));
    EXPECT_EQ(refusal(directory + "/open/x", "the folder 'open': other users may write in it"),
              verdictOn(directory + "/open/x"));
}

TEST_F(ServerSettingFolder, RefusesANameThatIsTooLong)
{
    const std::string path = directory + "/" + std::string(300, 'n');
    EXPECT_EQ(refusal(path, "File name too long"), verdictOn(path));
}

TEST_F(ServerSettingFolder, FollowsNoLinkThatTakesTheFilesPlaceAfterTheCheck)
{
    tests::writeFile(temporary / "victim", "untouched");
    SettingFile file = folder.locate(directory + "/engine.conf");
    ASSERT_EQ(0, symlink((temporary / "victim").c_str(), (directory + "/engine.conf").c_str()));
    file.replace("settings");
    file.keep();
    EXPECT_EQ("untouched", tests::readFile(temporary / "victim"));
    EXPECT_TRUE(
        std::filesystem::is_regular_file(std::filesystem::symlink_status(directory + "/engine.conf")));
    EXPECT_EQ("settings", tests::readFile(directory + "/engine.conf"));
}

TEST_F(ServerSettingFolder, FollowsNoLinkThatTakesAFoldersPlaceAfterTheCheck)
{
    std::filesystem::create_directory(temporary / "elsewhere");
    std::filesystem::create_directory(directory + "/below");
    SettingFile file = folder.locate(directory + "/below/engine.conf");
    std::filesystem::rename(directory + "/below", directory + "/moved");
    ASSERT_EQ(0, symlink((temporary / "elsewhere").c_str(), (directory + "/below").c_str()));
    file.replace("settings");
    file.keep();
    EXPECT_EQ(Names{}, tests::namesIn(temporary / "elsewhere"));
    EXPECT_EQ("settings", tests::readFile(directory + "/moved/engine.conf"));
}

TEST_F(ServerSettingFolder, LeadsNowhereElseHoweverFastLinksComeAndGo)
{
    const tests::TemporaryFolder outside;
    std::filesystem::create_directory(outside / "folder");
    tests::writeFile(outside / "victim", "untouched");
    int found = 0;
    int refused = 0;
    {
        const tests::Swapper swapper(directory, outside.path());
        for (int attempt = 0; attempt < 20000 || ((found == 0 || refused == 0) && attempt < 1000000);
             ++attempt)
            try {
                SettingFile file = folder.locate(directory + "/below/engine.conf");
                ++found;
                file.replace("settings");
                file.keep();
            } catch (const std::runtime_error&) {
                ++refused;
            }
    }
    // Else there was no race.
    EXPECT_GT(found, 0);
    EXPECT_GT(refused, 0);
    EXPECT_EQ(Names{}, tests::namesIn(outside / "folder"));
    EXPECT_EQ("untouched", tests::readFile(outside / "victim"));
}

TEST_F(ServerSettingFolder, RemovesALinkThatTookTheFilesPlaceNotWhatItLeadsTo)
{
    tests::writeFile(temporary / "victim", "untouched");
    SettingFile file = folder.locate(directory + "/engine.conf");
    ASSERT_EQ(0, symlink((temporary / "victim").c_str(), (directory + "/engine.conf").c_str()));
    file.remove();
    EXPECT_EQ("untouched", tests::readFile(temporary / "victim"));
    EXPECT_FALSE(tests::exists(directory + "/engine.conf"));
}

TEST_F(ServerSettingFolder, ReplacesWhatAKilledServerLeft)
{
    tests::writeFile(temporary / "victim", "untouched");
    ASSERT_EQ(0, symlink((temporary / "victim").c_str(), (directory + "/.engine.conf.new").c_str()));
    tests::writeFile(directory + "/.engine.conf.old", "older");
    tests::writeFile(directory + "/engine.conf", "old");
    SettingFile file = folder.locate(directory + "/engine.conf");
    file.replace("settings");
    file.putBack();
    EXPECT_EQ("untouched", tests::readFile(temporary / "victim"));
    EXPECT_EQ("old", tests::readFile(directory + "/engine.conf"));
    EXPECT_EQ(Names{"engine.conf"}, tests::namesIn(directory));
}

TEST_F(ServerSettingFolder, RemembersTheFileInUse)
{
    EXPECT_FALSE(folder.inUse());
    folder.setInUse(directory + "/a");
    EXPECT_EQ(directory + "/a", folder.inUse().value_or("none"));
    folder.setInUse(directory + "/below/b");
    EXPECT_EQ(directory + "/below/b", folder.inUse().value_or("none"));
    EXPECT_EQ(Names{".current"}, tests::namesIn(directory));
    folder.clearInUse();
    EXPECT_FALSE(folder.inUse());
    folder.clearInUse();
    EXPECT_EQ(Names{}, tests::namesIn(directory));
}

TEST_F(ServerSettingFolder, RemembersTheFileInUseWhateverAKilledServerLeft)
{
    ASSERT_EQ(0, symlink("a", (directory + "/.current.new").c_str()));
    folder.setInUse(directory + "/b");
    EXPECT_EQ(directory + "/b", folder.inUse().value_or("none"));
    EXPECT_EQ(Names{".current"}, tests::namesIn(directory));
}

TEST_F(ServerSettingFolder, LeadsToTheFileInUse)
{
    tests::writeFile(directory + "/a", "settings");
    folder.setInUse(directory + "/a");
    EXPECT_EQ("settings", tests::readFile(folder.currentPath()));
}

TEST_F(ServerSettingFolder, PassesOnTheFirstLineOfAReason)
{
    EXPECT_EQ("", folder.reason());
    tests::writeFile(folder.reasonPath(), "because\nof that\n");
    EXPECT_EQ("because", folder.reason());
    folder.clearReason();
    EXPECT_EQ("", folder.reason());
}

TEST(ServerSettingFile, KnowsItsPlaceByAnyWay)
{
    const tests::TemporaryFolder temporary;
    const SettingFolder folder(temporary / "settings");
    ASSERT_EQ(0, symlink("settings", (temporary / "link").c_str()));
    const SettingFile file = folder.locate(temporary / "settings/engine.pid");
    EXPECT_TRUE(file.isAt(temporary / "settings/engine.pid"));
    EXPECT_TRUE(file.isAt(temporary / "link/engine.pid"));
    EXPECT_TRUE(file.isAt(temporary / "settings/../settings/engine.pid"));
    EXPECT_FALSE(file.isAt(temporary / "settings/engine"));
    EXPECT_FALSE(file.isAt(temporary / "engine.pid"));
    EXPECT_FALSE(file.isAt(temporary / "none/engine.pid"));
    EXPECT_FALSE(file.isAt("engine.pid"));
}

class ServerSettingFileTest : public ::testing::Test {
protected:
    tests::TemporaryFolder temporary;
    const std::string directory = temporary / "settings";
    const SettingFolder folder{directory};
    const std::string path = directory + "/engine.conf";
    SettingFile file = folder.locate(path);
};

TEST_F(ServerSettingFileTest, IsForTheServerAlone)
{
    umask(0);
    file.replace("settings");
    umask(022);
    EXPECT_EQ(0600U, tests::modeOf(path));
    EXPECT_EQ("settings", tests::readFile(path));
}

TEST_F(ServerSettingFileTest, IsRemovedIfThereWasNoneBefore)
{
    file.replace("settings");
    file.putBack();
    EXPECT_EQ(Names{}, tests::namesIn(directory));
}

TEST_F(ServerSettingFileTest, GetsItsPreviousContentBack)
{
    tests::writeFile(path, "old");
    file.replace("new");
    EXPECT_EQ("new", tests::readFile(path));
    file.putBack();
    EXPECT_EQ("old", tests::readFile(path));
    EXPECT_EQ(Names{"engine.conf"}, tests::namesIn(directory));
}

TEST_F(ServerSettingFileTest, KeepsItsNewContent)
{
    tests::writeFile(path, "old");
    file.replace("new");
    file.keep();
    file.putBack();
    EXPECT_EQ("new", tests::readFile(path));
    EXPECT_EQ(Names{"engine.conf"}, tests::namesIn(directory));
}

TEST_F(ServerSettingFileTest, IsRemovedOnce)
{
    tests::writeFile(path, "");
    file.remove();
    EXPECT_FALSE(tests::exists(path));
    EXPECT_EQ("can't delete the file", tests::textThrownBy<std::runtime_error>([this] { file.remove(); }));
}

// What a killed server leaves

TEST_F(ServerSettingFolder, HasNoNoteOfAChangeThatCannotBegin)
{
    folder.setInUse(directory + "/used.conf");
    EXPECT_THROW(UnfinishedChange(folder).begin(directory + "/missing/new.conf"), std::runtime_error);
    EXPECT_EQ(Names{".current"}, tests::namesIn(directory));
}

TEST_F(ServerSettingFolder, IsClearedUpWhereverANoteLeads)
{
    for (const char* const nowhere : {"missing/a.conf", "..", ".current/a.conf"}) {
        tests::writeFile(directory + "/b.conf", "a key");
        std::filesystem::create_symlink(nowhere, directory + "/.changing");
        std::filesystem::create_symlink(nowhere, directory + "/.making");
        std::filesystem::create_symlink("b.conf", directory + "/.removing");
        UnfinishedChange(folder).clearUp();
        EXPECT_EQ(Names{}, tests::namesIn(directory)) << nowhere;
    }
}

TEST_F(ServerSettingFolder, KeepsTheNewContentOfAChangeOnceItIsInUse)
{
    for (const bool inUse : {false, true}) {
        tests::writeFile(directory + "/a.conf", "new");
        tests::writeFile(directory + "/.a.conf.old", "old");
        tests::writeFile(directory + "/.a.conf.new", "newer");
        tests::writeFile(directory + "/b.conf", "used before");
        std::filesystem::create_symlink("a.conf", directory + "/.changing");
        std::filesystem::create_symlink("b.conf", directory + "/.superseded");
        folder.setInUse(directory + (inUse ? "/a.conf" : "/b.conf"));
        UnfinishedChange(folder).clearUp();
        EXPECT_EQ(inUse ? "new" : "old", tests::readFile(directory + "/a.conf"));
        EXPECT_EQ(inUse ? (Names{".current", "a.conf"}) : (Names{".current", "a.conf", "b.conf"}),
                  tests::namesIn(directory));
    }
}

TEST(ServerLock, IsHeldByOneServerAtATime)
{
    const tests::TemporaryFolder temporary;
    const SettingFolder folder(temporary / "settings");
    {
        const ServerLock lock(folder, 0ms);
        EXPECT_EQ("another request is being carried out",
                  tests::textThrownBy<std::runtime_error>([&] { ServerLock second(folder, 50ms); }));
    }
    EXPECT_NO_THROW(ServerLock third(folder, 0ms));
}

TEST(ServerLock, IsOnAFileThatNobodyElseCanOpen)
{
    const tests::TemporaryFolder temporary;
    const SettingFolder folder(temporary / "settings");
    const ServerLock lock(folder, 0ms);
    EXPECT_EQ(0600U, tests::modeOf(temporary / "settings/.lock"));
}

TEST(ServerLock, IsNotTakenThroughALink)
{
    const tests::TemporaryFolder temporary;
    const SettingFolder folder(temporary / "settings");
    ASSERT_EQ(0, symlink("/dev/null", (temporary / "settings/.lock").c_str()));
    EXPECT_EQ(temporary / "settings/.lock" + ": Too many levels of symbolic links",
              tests::textThrownBy<std::runtime_error>([&] { ServerLock lock(folder, 0ms); }));
}

} // namespace
