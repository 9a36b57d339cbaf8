// The engine settings: the client's holder, and the setting manager's share that is the same for every
// engine.

#include "Exceptions.h"
#include "IPsecEngineControlClient.h"
#include "SettingManager.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <type_traits>
#include <unistd.h>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

TEST(EngineControlClient, IsOneForTheProcessAndTakesAnySetting)
{
    IPsecEngineControlClient& client = IPsecEngineControlClient::getInstance();
    client.setSettingFilePath("");
    client.setSettingFilePath("/any/path");
    client.setFipsMode(true);
    EXPECT_EQ(&client, &IPsecEngineControlClient::getInstance());
}

TEST(EngineControlClient, CannotBeMadeOrCopiedByOthers)
{
    EXPECT_FALSE(std::is_default_constructible<IPsecEngineControlClient>::value);
    EXPECT_FALSE(std::is_copy_constructible<IPsecEngineControlClient>::value);
    EXPECT_FALSE(std::is_copy_assignable<IPsecEngineControlClient>::value);
    EXPECT_FALSE(std::is_destructible<IPsecEngineControlClient>::value);
    EXPECT_FALSE(std::is_polymorphic<IPsecEngineControlClient>::value);
}

class TestManager : public SettingManager {
public:
    void getCommand(bool, std::string&, std::string&) override {}
    void getModuleCommand(bool, std::list<std::string>&, std::list<std::string>&) override {}
    void getPidFilePath(bool, std::string&) override {}
    void writeSettingFile(const IPsecPolicy&, const FilterSet&, const std::list<CertificatePtr>&) override {}
    void getWatchdCommand(std::string&, std::string&) override {}
    void getWatchdPidFilePath(std::string&) override {}
    void getNetConfCommand(std::string&, std::string&) override {}
};

class ComputingManager : public TestManager {
public:
    std::string getSettingFilePath() const override
    {
        return TestManager::getSettingFilePath() + ".computed";
    }
};

class SettingFile : public ::testing::Test {
protected:
    SettingFile() { std::ofstream(path_) << "settings"; }
    ~SettingFile() override { unlink(path_.c_str()); }

    static bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

    const std::string path_ = ::testing::TempDir() + "setting-file-" + std::to_string(getpid());
};

TEST_F(SettingFile, HasThePathItWasGiven)
{
    TestManager manager;
    EXPECT_EQ("", manager.getSettingFilePath());
    manager.setSettingFilePath(path_);
    EXPECT_EQ(path_, manager.getSettingFilePath());
    manager.setSettingFilePath("");
    EXPECT_EQ("", manager.getSettingFilePath());
}

TEST_F(SettingFile, IsDeletedOnce)
{
    TestManager manager;
    manager.setSettingFilePath(path_);
    manager.deleteSettingFile();
    EXPECT_FALSE(exists(path_));
    EXPECT_EQ("can't delete the file",
              textThrownBy<std::runtime_error>([&] { manager.deleteSettingFile(); }));
    EXPECT_EQ(path_, manager.getSettingFilePath());
}

TEST_F(SettingFile, CannotBeDeletedWithoutAPathOrWhereThereIsNone)
{
    TestManager manager;
    for (const std::string& path : {std::string(), path_ + ".missing", ::testing::TempDir()}) {
        manager.setSettingFilePath(path);
        EXPECT_EQ("can't delete the file",
                  textThrownBy<std::runtime_error>([&] { manager.deleteSettingFile(); }))
            << path;
    }
}

TEST_F(SettingFile, IsTheOneThatADerivedManagerComputes)
{
    const std::string computed = path_ + ".computed";
    std::ofstream(computed) << "settings";
    ComputingManager manager;
    manager.setSettingFilePath(path_);
    manager.deleteSettingFile();
    EXPECT_FALSE(exists(computed));
    EXPECT_TRUE(exists(path_));
}

} // namespace
} // namespace tests
