// The setting manager that docs/writing-a-setting-manager.md adds to the server.

#include "ExampleSettingManager.h"
#include "Exceptions.h"
#include "server_support.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg;

class ExampleSettings : public ::testing::Test {
protected:
    ExampleSettings()
    {
        configuration_.serviceCommand = "/usr/sbin/engine";
        configuration_.pidFile = folder_ / "engine.pid";
        policy_.addFilter(common::createFilterRule(common::FilterRule::Use, "192.0.2.1", "192.0.2.2"));
    }

    TemporaryFolder folder_;
    configserver::Configuration configuration_;
    configserver::SettingFolder settings_{folder_.path()};
    configserver::ExampleSettingManager manager_{configuration_, settings_};
    common::IPsecPolicy policy_;
};

TEST_F(ExampleSettings, AreWrittenAndDeleted)
{
    manager_.setSettingFilePath(folder_ / "engine.conf");
    manager_.setFipsMode(true);
    manager_.writeSettingFile(policy_, {}, {});
    EXPECT_EQ("fips\nprotect 192.0.2.1 192.0.2.2\n", readFile(folder_ / "engine.conf"));
    manager_.keepSettingFile();
    manager_.deleteSettingFile();
    EXPECT_FALSE(exists(folder_ / "engine.conf"));
}

TEST_F(ExampleSettings, RefuseWhatTheEngineCannotDoBeforeAnythingIsTouched)
{
    manager_.setSettingFilePath(folder_ / "engine.conf");
    const common::FilterSet others = {common::createFilterRule()};
    EXPECT_EQ("default rule 1: the engine \"example\" only protects",
              textThrownBy<std::runtime_error>([&] { manager_.writeSettingFile(policy_, others, {}); }));
    EXPECT_EQ("certificate 1: the engine \"example\" knows pre-shared keys only",
              textThrownBy<std::runtime_error>(
                  [&] { manager_.writeSettingFile(policy_, {}, {common::createCertificate()}); }));
    EXPECT_FALSE(exists(folder_ / "engine.conf"));
}

} // namespace
} // namespace tests
