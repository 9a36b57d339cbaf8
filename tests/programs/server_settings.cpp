// The standalone engine's setting file: what the server writes is what the engine reads.

#include "Exceptions.h"
#include "PayloadBuilder.h"
#include "Request.h"
#include "SettingManagers.h"
#include "Settings.h"

#include "server_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace norvale::tamber::systemdata::ipseccfg::common;
namespace standalone = norvale::tamber::systemdata::ipseccfg::standalone;
using tests::RequestParts;
using Lines = std::list<std::string>;

class ServerSettings : public ::testing::Test {
protected:
    ServerSettings()
    {
        configuration.engine = "standalone";
        configuration.serviceCommand = "/usr/libexec/engine";
        configuration.serviceOption = "-v";
        configuration.pidFile = "/run/engine.pid";
        configuration.modules = {{"/lib/a.ko", "in-a", "out-a"}, {"/lib/b.ko", "in-b", "out-b"}};
        manager = createSettingManager(configuration, folder);
    }

    /// Sends the parts over the wire, has the manager write them and the engine read them.
    standalone::Settings settingsOf(RequestParts parts)
    {
        parts.settingFile = file;
        std::istringstream stream(tests::requestText(parts));
        const Request request = receiveRequest(stream);
        checkRequest(request);
        manager->setSettingFilePath(request.settingFilePath);
        manager->setFipsMode(request.fipsMode);
        manager->writeSettingFile(request.policy, request.defaultRules, request.certificates);
        manager->keepSettingFile();
        return standalone::readSettings(file);
    }

    tests::TemporaryFolder temporary;
    const SettingFolder folder{temporary / "settings"};
    const std::string file = temporary / "settings/engine.conf";
    Configuration configuration;
    std::unique_ptr<EngineSettingManager> manager;
};

TEST_F(ServerSettings, HoldTheWholePolicy)
{
    RequestParts parts;
    parts.fips = true;
    parts.nameSpace = "blue";
    const standalone::Settings settings = settingsOf(parts);
    EXPECT_TRUE(settings.fips);
    EXPECT_EQ("blue", settings.nameSpace);
    EXPECT_EQ("1 proposal in phase 1, 1 proposal in phase 2, 3 rules, 2 certificates, FIPS mode on",
              summaryOf(settings));

    const standalone::Transform& first = settings.phase1.at(0).transforms.at(0);
    EXPECT_EQ("AES", first.encryption);
    EXPECT_EQ(256, first.keyLength.value_or(-1));
    EXPECT_EQ("SHA256", first.hash);
    EXPECT_EQ("PSK", first.authentication.value_or("none"));
    EXPECT_EQ(tests::SECRET, first.authenticationData);
    EXPECT_EQ(14, first.group.value_or(-1));
    EXPECT_EQ(28800, first.lifetime);

    const standalone::Transform& second = settings.phase2.at(0).transforms.at(0);
    EXPECT_EQ("AES-GCM", second.encryption);
    EXPECT_EQ(128, second.keyLength.value_or(-1));
    EXPECT_EQ("AES-GCM", second.hash);
    EXPECT_FALSE(second.authentication);
    EXPECT_FALSE(second.group);
    EXPECT_EQ(3600, second.lifetime);

    const standalone::Rule& use = settings.rules.at(0);
    EXPECT_EQ("use", use.action);
    EXPECT_EQ("192.0.2.1", use.source);
    EXPECT_EQ("192.0.2.2", use.destination);
    EXPECT_EQ(10, use.priority);
    EXPECT_EQ("email", use.identityType);
    EXPECT_EQ("a@example.org", use.sourceIdentity);
    EXPECT_EQ("b@example.org", use.destinationIdentity);
    EXPECT_EQ("bypass", settings.rules.at(1).action);
    EXPECT_EQ("none", settings.rules.at(1).identityType);
    EXPECT_EQ(0, settings.rules.at(1).priority);
    EXPECT_EQ("discard", settings.rules.at(2).action);
    EXPECT_EQ(99, settings.rules.at(2).priority);

    EXPECT_EQ("end-entity", settings.certificates.at(0).kind);
    EXPECT_EQ("/etc/ipseccfg/device.pem", settings.certificates.at(0).certificate);
    EXPECT_EQ("/etc/ipseccfg/device.key", settings.certificates.at(0).privateKey);
    EXPECT_EQ("root-ca", settings.certificates.at(1).kind);
    EXPECT_EQ("", settings.certificates.at(1).privateKey);
}

TEST_F(ServerSettings, HoldEveryEnumerator)
{
    const std::pair<EncryptionAlgorithm::Type, const char*> encryptions[] = {
        {EncryptionAlgorithm::AES, "AES"},
        {EncryptionAlgorithm::DES3, "3DES"},
        {EncryptionAlgorithm::AES_GCM, "AES-GCM"}};
    const std::pair<HashAlgorithm::Type, const char*> hashes[] = {{HashAlgorithm::SHA1, "SHA1"},
                                                                  {HashAlgorithm::SHA256, "SHA256"},
                                                                  {HashAlgorithm::SHA384, "SHA384"},
                                                                  {HashAlgorithm::SHA512, "SHA512"},
                                                                  {HashAlgorithm::AES_GCM, "AES-GCM"}};
    const std::pair<GroupDescription::Type, int> groups[] = {{GroupDescription::G14, 14},
                                                             {GroupDescription::G24, 24},
                                                             {GroupDescription::G19, 19},
                                                             {GroupDescription::G20, 20}};
    const std::pair<AuthenticationMethod::Type, const char*> methods[] = {
        {AuthenticationMethod::PSK, "PSK"}, {AuthenticationMethod::RSA_SIG, "RSA_SIG"}};
    RequestParts parts;
    for (const auto& encryption : encryptions)
        for (const auto& hash : hashes)
            for (const auto& group : groups)
                for (const auto& method : methods) {
                    parts.phase1 = createSecurityAssociation(encryption.first, 192, hash.first, method.first,
                                                             "data", group.first, LifeType::SECOND, 60);
                    const standalone::Settings settings = settingsOf(parts);
                    const standalone::Transform& transform = settings.phase1.at(0).transforms.at(0);
                    EXPECT_EQ(encryption.second, transform.encryption);
                    EXPECT_EQ(hash.second, transform.hash);
                    EXPECT_EQ(group.second, transform.group.value_or(-1));
                    EXPECT_EQ(method.second, transform.authentication.value_or("none"));
                }
}

TEST_F(ServerSettings, HoldEveryProposalAndTransformInOrder)
{
    RequestParts parts;
    parts.phase1 = createSecurityAssociation();
    for (const int proposalId : {3, 1}) {
        const PayloadPtr proposal = createProposal();
        dynamic_cast<Proposal&>(*proposal).setId(proposalId);
        for (const int transformId : {5, 4}) {
            const PayloadPtr transform = createTransform(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1,
                                                         LifeType::SECOND, transformId);
            dynamic_cast<Transform&>(*transform).setId(transformId);
            proposal->add(transform);
        }
        parts.phase1->add(proposal);
    }
    std::vector<std::string> ids;
    for (const auto& proposal : settingsOf(parts).phase1)
        for (const auto& transform : proposal.transforms)
            ids.push_back(std::to_string(proposal.id) + "." + std::to_string(transform.id));
    EXPECT_EQ((std::vector<std::string>{"3.5", "3.4", "1.5", "1.4"}), ids);
}

TEST_F(ServerSettings, HoldTheExactTextWhateverIsInIt)
{
    const std::string texts[] = {R"("}, {"action": "bypass")",
                                 "\\",
                                 "\\u0041",
                                 "\\\"",
                                 "{}[]:,#'",
                                 "</string>&amp;<!--",
                                 "$(id) `id` ; | & > /dev/null",
                                 "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                 "\xE2\x80\xA8",
                                 " leading and trailing ",
                                 "%s%n%d",
                                 "\xEF\xBB\xBF"};
    for (const std::string& text : texts) {
        RequestParts parts;
        parts.used.front()->setSrcIpAddress(text);
        parts.used.front()->setDstIpAddress(text);
        parts.used.front()->setSrcIdentity(text);
        parts.used.front()->setDstIdentity(text);
        parts.certificates.front()->setCertFilePath(text);
        parts.certificates.front()->setPkeyFilePath(text);
        const standalone::Settings settings = settingsOf(parts);
        EXPECT_EQ(text, settings.rules.at(0).source);
        EXPECT_EQ(text, settings.rules.at(0).destination);
        EXPECT_EQ(text, settings.rules.at(0).sourceIdentity);
        EXPECT_EQ(text, settings.rules.at(0).destinationIdentity);
        EXPECT_EQ(text, settings.certificates.at(0).certificate);
        EXPECT_EQ(text, settings.certificates.at(0).privateKey);
        EXPECT_EQ(3U, settings.rules.size());
    }
}

// Whatever printable ASCII a key is made of; other bytes do not survive the way to the server.
TEST_F(ServerSettings, HoldTheExactKey)
{
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same keys in every run
    std::uniform_int_distribution<int> printable(0x20, 0x7E);
    std::uniform_int_distribution<int> length(1, 64);
    for (int run = 0; run < 100; ++run) {
        std::string key;
        for (int i = length(random); i > 0; --i)
            key += static_cast<char>(printable(random));
        RequestParts parts;
        parts.phase1 = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                 AuthenticationMethod::PSK, key, GroupDescription::G14,
                                                 LifeType::SECOND, 1);
        EXPECT_EQ(key, settingsOf(parts).phase1.at(0).transforms.at(0).authenticationData);
    }
}

TEST_F(ServerSettings, HoldTenThousandRules)
{
    RequestParts parts;
    for (int i = 0; i < 10000; ++i) {
        const auto rule = createFilterRule(FilterRule::Bypass, std::to_string(i), "any");
        rule->setPriority(i % 100);
        parts.others.push_back(rule);
    }
    const standalone::Settings settings = settingsOf(parts);
    ASSERT_EQ(10003U, settings.rules.size());
    EXPECT_EQ("9999", settings.rules.back().source);
}

TEST_F(ServerSettings, MayHaveNoPolicyAtAll)
{
    RequestParts parts;
    parts.phase1 = createSecurityAssociation();
    parts.phase2 = createSecurityAssociation();
    parts.used.clear();
    parts.others.clear();
    parts.certificates.clear();
    EXPECT_EQ("0 proposals in phase 1, 0 proposals in phase 2, 0 rules, 0 certificates, FIPS mode off",
              summaryOf(settingsOf(parts)));
}

TEST_F(ServerSettings, ComeWithCommandLinesFromTheConfigurationAlone)
{
    std::string command;
    std::string option;
    manager->getCommand(false, command, option);
    EXPECT_EQ("/usr/libexec/engine", command);
    EXPECT_EQ("-v --setting-file " + folder.path() + "/.current --pid-file /run/engine.pid --reason-file " +
                  folder.path() + "/.reason",
              option);

    Lines modules;
    Lines options;
    manager->getModuleCommand(true, modules, options);
    EXPECT_EQ((Lines{"/lib/a.ko", "/lib/b.ko"}), modules);
    EXPECT_EQ((Lines{"in-a", "in-b"}), options);
    manager->getModuleCommand(false, modules, options);
    EXPECT_EQ((Lines{"/lib/a.ko", "/lib/b.ko"}), modules);
    EXPECT_EQ((Lines{"out-a", "out-b"}), options);

    std::string pidFile;
    manager->getPidFilePath(false, pidFile);
    EXPECT_EQ("/run/engine.pid", pidFile);
}

TEST_F(ServerSettings, ComeWithCommandLinesOfOneWordAPath)
{
    configuration.serviceCommand = "/opt/my engine";
    configuration.pidFile = "/run/it's mine";
    const SettingFolder spaced(temporary / "my settings");
    const auto other = createSettingManager(configuration, spaced);
    std::string command;
    std::string option;
    other->getCommand(false, command, option);
    EXPECT_EQ("'/opt/my engine'", command);
    EXPECT_EQ("-v --setting-file '" + spaced.path() +
                  "/.current' --pid-file '/run/it'\\''s mine' --reason-file '" + spaced.path() + "/.reason'",
              option);
}

TEST_F(ServerSettings, AreNeverThePidFile)
{
    configuration.pidFile = folder.path() + "/engine.pid";
    const auto other = createSettingManager(configuration, folder);
    const std::string path = folder.path() + "/engine.pid";
    EXPECT_EQ("setting-file-path: " + path + ": is the engine's pid file",
              tests::textThrownBy<std::runtime_error>([&] { other->setSettingFilePath(path); }));
    EXPECT_EQ("", other->getSettingFilePath());
}

TEST_F(ServerSettings, NeedNoWatchdogAndNoNetworkConfiguration)
{
    std::string command = "x";
    std::string option = "x";
    std::string pidFile = "x";
    manager->getWatchdCommand(command, option);
    EXPECT_EQ("", command + option);
    command = option = "x";
    manager->getNetConfCommand(command, option);
    EXPECT_EQ("", command + option);
    manager->getWatchdPidFilePath(pidFile);
    EXPECT_EQ("", pidFile);
}

TEST_F(ServerSettings, CannotBeWrittenOrDeletedWithoutAPath)
{
    EXPECT_EQ("", manager->getSettingFilePath());
    EXPECT_EQ("the setting file has no path", tests::textThrownBy<std::logic_error>([this] {
                  manager->writeSettingFile(IPsecPolicy(), {}, {});
              }));
    EXPECT_EQ("can't delete the file",
              tests::textThrownBy<std::runtime_error>([this] { manager->deleteSettingFile(); }));
}

TEST_F(ServerSettings, AreDeletedUnderTheirPath)
{
    settingsOf(RequestParts());
    EXPECT_EQ(file, manager->getSettingFilePath());
    manager->deleteSettingFile();
    EXPECT_FALSE(tests::exists(file));
    EXPECT_EQ("can't delete the file",
              tests::textThrownBy<std::runtime_error>([this] { manager->deleteSettingFile(); }));
}

TEST_F(ServerSettings, KeepTheirPathWhenAnotherIsRefused)
{
    manager->setSettingFilePath(file);
    EXPECT_THROW(manager->setSettingFilePath("/etc/passwd"), std::runtime_error);
    EXPECT_EQ(file, manager->getSettingFilePath());
}

TEST_F(ServerSettings, AreOfAKnownEngine)
{
    configuration.engine = "steam";
    EXPECT_EQ("no setting manager for the engine 'steam'",
              tests::textThrownBy<std::logic_error>([this] { createSettingManager(configuration, folder); }));
}

} // namespace
