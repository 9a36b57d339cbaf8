// The server's configuration file.

#include "Configuration.h"
#include "Exceptions.h"
#include "SettingManagers.h"

#include "server_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <ostream>
#include <unistd.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;

const std::string SMALLEST = "engine = \"standalone\"\n"
                             "setting-directory = \"/run/ipseccfg\"\n"
                             "[service]\n"
                             "command = \"/usr/libexec/engine\"\n"
                             "pid-file = \"/run/engine.pid\"\n"
                             "stop-signal = \"TERM\"\n"
                             "reconfigure-signal = \"HUP\"\n";

class ServerConfiguration : public ::testing::Test {
protected:
    Configuration read(const std::string& text)
    {
        tests::writeFile(file, text);
        return readConfiguration(file, {"standalone", "other"});
    }

    /// The error without the file's name; "accepted" if there is none.
    std::string errorOf(const std::string& text)
    {
        try {
            read(text);
        } catch (const std::runtime_error& error) {
            std::string message = error.what();
            EXPECT_EQ(0U, message.find(file + ":")) << message;
            return message.substr(file.size() + 1);
        }
        return "accepted";
    }

    /// SMALLEST with one line put in place of another.
    static std::string with(const std::string& line, const std::string& replacement)
    {
        std::string text = SMALLEST;
        tests::replaceAll(text, line, replacement);
        return text;
    }

    tests::TemporaryFolder folder;
    const std::string file = folder / "server.toml";
};

TEST_F(ServerConfiguration, HasDefaultsForAllThatMayBeLeftOut)
{
    const Configuration configuration = read(SMALLEST);
    EXPECT_EQ("standalone", configuration.engine);
    EXPECT_EQ("/run/ipseccfg", configuration.settingDirectory);
    EXPECT_EQ(4194304U, configuration.maxRequestBytes);
    EXPECT_EQ(30, configuration.maxRequestTime.count());
    EXPECT_EQ("/usr/libexec/engine", configuration.serviceCommand);
    EXPECT_EQ("", configuration.serviceOption);
    EXPECT_EQ("/run/engine.pid", configuration.pidFile);
    EXPECT_EQ(SIGTERM, configuration.stopSignal);
    EXPECT_EQ(SIGHUP, configuration.reconfigureSignal);
    EXPECT_EQ(3U, configuration.retry);
    EXPECT_EQ(200000U, configuration.intervalMicroseconds);
    EXPECT_TRUE(configuration.modules.empty());
}

TEST_F(ServerConfiguration, TakesEveryKey)
{
    const Configuration configuration = read("engine = \"other\"\n"
                                             "setting-directory = \"/run/x\"\n"
                                             "max-request-bytes = 1000\n"
                                             "max-request-seconds = 2\n"
                                             "[service]\n"
                                             "command = \"/usr/libexec/engine\"\n"
                                             "option = \"-v --fast\"\n"
                                             "pid-file = \"/run/engine.pid\"\n"
                                             "stop-signal = \"SIGKILL\"\n"
                                             "reconfigure-signal = \"USR2\"\n"
                                             "[modules]\n"
                                             "retry = 1\n"
                                             "interval-us = 0\n"
                                             "[[modules.module]]\n"
                                             "path = \"/lib/modules/esp4.ko\"\n"
                                             "install-option = \"debug=1\"\n"
                                             "remove-option = \"-f\"\n"
                                             "[[modules.module]]\n"
                                             "path = \"/lib/modules/xfrm_user.o\"\n");
    EXPECT_EQ("other", configuration.engine);
    EXPECT_EQ(1000U, configuration.maxRequestBytes);
    EXPECT_EQ(2, configuration.maxRequestTime.count());
    EXPECT_EQ("-v --fast", configuration.serviceOption);
    EXPECT_EQ(SIGKILL, configuration.stopSignal);
    EXPECT_EQ(SIGUSR2, configuration.reconfigureSignal);
    EXPECT_EQ(1U, configuration.retry);
    EXPECT_EQ(0U, configuration.intervalMicroseconds);
    ASSERT_EQ(2U, configuration.modules.size());
    EXPECT_EQ("/lib/modules/esp4.ko", configuration.modules.front().path);
    EXPECT_EQ("debug=1", configuration.modules.front().installOption);
    EXPECT_EQ("-f", configuration.modules.front().removeOption);
    EXPECT_EQ("/lib/modules/xfrm_user.o", configuration.modules.back().path);
    EXPECT_EQ("", configuration.modules.back().installOption);
    EXPECT_EQ("", configuration.modules.back().removeOption);
}

TEST_F(ServerConfiguration, TakesTheListOfModulesEmpty)
{
    EXPECT_TRUE(read(SMALLEST + "[modules]\nmodule = []\n").modules.empty());
}

TEST_F(ServerConfiguration, DropsWhatIsSuperfluousInTheSettingDirectory)
{
    EXPECT_EQ("/run/ipseccfg",
              read(with("\"/run/ipseccfg\"", "\"/run//./x/../ipseccfg/\"")).settingDirectory);
}

TEST_F(ServerConfiguration, KnowsEverySignalWithAndWithoutSig)
{
    const std::pair<const char*, int> signals[] = {{"HUP", SIGHUP},   {"INT", SIGINT},   {"KILL", SIGKILL},
                                                   {"QUIT", SIGQUIT}, {"TERM", SIGTERM}, {"USR1", SIGUSR1},
                                                   {"USR2", SIGUSR2}};
    for (const auto& [name, number] : signals) {
        EXPECT_EQ(number, read(with("\"TERM\"", std::string("\"") + name + "\"")).stopSignal) << name;
        EXPECT_EQ(number, read(with("\"TERM\"", std::string("\"SIG") + name + "\"")).stopSignal) << name;
    }
}

TEST_F(ServerConfiguration, SaysWhereItIsWrongAndWhatIsAllowed)
{
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"", "1:1: engine: is missing"},
        {"engine = 3\n", "1:10: engine: must be a string"},
        {with("\"standalone\"", "\"ipsec\""),
         "1:10: engine: 'ipsec' is not a known engine, only: standalone, other"},
        {with("setting-directory", "#"), "1:1: setting-directory: is missing"},
        {with("\"/run/ipseccfg\"", "\"run\""), "2:21: setting-directory: 'run' is not an absolute path"},
        {with("\"/run/ipseccfg\"", "\"\""), "2:21: setting-directory: '' is not an absolute path"},
        {with("\"/run/ipseccfg\"", "\"/run/..\""),
         "2:21: setting-directory: '/' is not allowed, only a folder below it"},
        {with("\"/run/ipseccfg\"", R"("/run/a\u0007")"),
         "2:21: setting-directory: control characters are not allowed"},
        {with("[service]", "max-request-bytes = \"1\"\n[service]"),
         "3:21: max-request-bytes: must be an integer from 1 to 67108864"},
        {with("[service]", "max-request-bytes = 0\n[service]"),
         "3:21: max-request-bytes: 0 is not allowed, only an integer from 1 to 67108864"},
        {with("[service]", "max-request-bytes = 67108865\n[service]"),
         "3:21: max-request-bytes: 67108865 is not allowed, only an integer from 1 to 67108864"},
        {with("[service]", "max-request-byte = 1\n[service]"),
         "3:1: max-request-byte: is not a known key, only: engine, max-request-bytes, max-request-seconds, "
         "modules, service, setting-directory, strongswan"},
        {with("[service]", "max-request-seconds = 0\n[service]"),
         "3:23: max-request-seconds: 0 is not allowed, only an integer from 1 to 3600"},
        {with("[service]", "max-request-seconds = 3601\n[service]"),
         "3:23: max-request-seconds: 3601 is not allowed, only an integer from 1 to 3600"},
        {"engine = \"other\"\nsetting-directory = \"/run/x\"\n", "1:1: service: is missing"},
        {"engine = \"other\"\nsetting-directory = \"/run/x\"\nservice = 1\n",
         "3:11: service: must be a table"},
        {with("command", "#"), "3:1: service.command: is missing"},
        {with("\"/usr/libexec/engine\"", "\"engine\""),
         "4:11: service.command: 'engine' is not an absolute path"},
        {with("pid-file", "#"), "3:1: service.pid-file: is missing"},
        {with("\"/run/engine.pid\"", "\"engine.pid\""),
         "5:12: service.pid-file: 'engine.pid' is not an absolute path"},
        {with("stop-signal", "#"), "3:1: service.stop-signal: is missing"},
        {with("\"TERM\"", "\"STOP\""),
         "6:15: service.stop-signal: 'STOP' is not allowed, only: HUP, INT, KILL, QUIT, TERM, USR1, USR2"},
        {with("\"TERM\"", "15"), "6:15: service.stop-signal: must be a string"},
        {with("reconfigure-signal", "#"), "3:1: service.reconfigure-signal: is missing"},
        {with("\"HUP\"", "\"KILL\""),
         "7:22: service.reconfigure-signal: 'KILL' is not allowed, only: HUP, INT, QUIT, TERM, USR1, USR2"},
        {SMALLEST + "x = 1\n",
         "8:1: service.x: is not a known key, only: command, option, pid-file, reconfigure-signal, "
         "stop-signal"},
        {SMALLEST + "option = true\n", "8:10: service.option: must be a string"},
        {SMALLEST + "[modules]\nretry = 0\n",
         "9:9: modules.retry: 0 is not allowed, only an integer from 1 to 100"},
        {SMALLEST + "[modules]\nretry = 101\n",
         "9:9: modules.retry: 101 is not allowed, only an integer from 1 to 100"},
        {SMALLEST + "[modules]\nretry = 1.5\n", "9:9: modules.retry: must be an integer from 1 to 100"},
        {SMALLEST + "[modules]\ninterval-us = -1\n",
         "9:15: modules.interval-us: -1 is not allowed, only an integer from 0 to 10000000"},
        {SMALLEST + "[modules]\nretries = 1\n",
         "9:1: modules.retries: is not a known key, only: interval-us, module, retry"},
        {SMALLEST + "modules = 1\n",
         "8:1: service.modules: is not a known key, only: command, option, pid-file, "
         "reconfigure-signal, stop-signal"},
        {"modules = 1\n" + SMALLEST, "1:11: modules: must be a table"},
        {SMALLEST + "[modules]\nmodule = 1\n", "9:10: modules.module: must be an array of tables"},
        {SMALLEST + "[modules]\nmodule = [1]\n", "9:10: modules.module: must be an array of tables"},
        {SMALLEST + "[[modules.module]]\n", "8:1: modules.module[0].path: is missing"},
        {SMALLEST + "[[modules.module]]\npath = \"/a.ko\"\n[[modules.module]]\npath = \"b.ko\"\n",
         "11:8: modules.module[1].path: 'b.ko' is not an absolute path"},
        {SMALLEST + "[[modules.module]]\npath = \"/lib/a.ko.xz\"\n",
         "9:8: modules.module[0].path: '/lib/a.ko.xz' is not a kernel module's file, only NAME.ko, NAME.o "
         "and NAME "
         "without a dot are"},
        {SMALLEST + "[[modules.module]]\npath = \"/lib/.ko\"\n",
         "9:8: modules.module[0].path: '/lib/.ko' is not a kernel module's file, only NAME.ko, NAME.o and "
         "NAME without a "
         "dot are"},
        {SMALLEST + "[[modules.module]]\npath = \"/lib/\"\n",
         "9:8: modules.module[0].path: '/lib/' is not a kernel module's file, only NAME.ko, NAME.o and NAME "
         "without a dot "
         "are"},
        {SMALLEST + "[[modules.module]]\npath = \"/lib/a b.ko\"\n",
         "9:8: modules.module[0].path: '/lib/a b.ko' holds a character other than letters, digits and "
         "%+,-./:=@_"},
        {SMALLEST + "[[modules.module]]\npath = \"/lib/a.ko\"\noptions = \"\"\n",
         "10:1: modules.module[0].options: is not a known key, only: install-option, path, remove-option"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(one.error, errorOf(one.text)) << one.text;
}

TEST_F(ServerConfiguration, SaysWhereItIsNotToml)
{
    const std::string error = errorOf("engine = \"standalone\"\nsetting-directory = \n");
    EXPECT_EQ(0U, error.find("2:")) << error;
    EXPECT_EQ(std::string::npos, error.find('\n')) << error;
}

TEST_F(ServerConfiguration, SaysWhyItCannotBeRead)
{
    EXPECT_EQ(
        folder / "none.toml" + ": No such file or directory",
        tests::textThrownBy<std::runtime_error>([this] { readConfiguration(folder / "none.toml", {}); }));
    EXPECT_EQ(folder.path() + ": Is a directory",
              tests::textThrownBy<std::runtime_error>([this] { readConfiguration(folder.path(), {}); }));
}

TEST_F(ServerConfiguration, MayNameTheStandaloneEngine)
{
    const auto engines = knownEngines();
    EXPECT_NE(engines.end(), std::find(engines.begin(), engines.end(), "standalone"));
}

TEST_F(ServerConfiguration, HasDefaultsForStrongswan)
{
    const Configuration configuration = read(SMALLEST);
    EXPECT_EQ(2U, configuration.ikeVersion);
    EXPECT_EQ("auto", configuration.mode);
    EXPECT_TRUE(configuration.gateways.empty());
}

TEST_F(ServerConfiguration, SaysHowStrongswanProtects)
{
    const Configuration configuration =
        read(SMALLEST + "[strongswan]\nike-version = 1\nmode = \"tunnel\"\n"
                        "[[strongswan.gateway]]\ndestination = \"10.2.0.0/16\"\n"
                        "remote = \"198.51.100.1\"\nlocal = \"192.0.2.1\"\n"
                        "[[strongswan.gateway]]\ndestination = \"2001:db8::/32\"\n"
                        "remote = \"2001:db8::1\"\n");
    EXPECT_EQ(1U, configuration.ikeVersion);
    EXPECT_EQ("tunnel", configuration.mode);
    ASSERT_EQ(2U, configuration.gateways.size());
    EXPECT_EQ("10.2.0.0/16", configuration.gateways.front().destination);
    EXPECT_EQ("198.51.100.1", configuration.gateways.front().remote);
    EXPECT_EQ("192.0.2.1", configuration.gateways.front().local);
    EXPECT_EQ("", configuration.gateways.back().local);
}

TEST_F(ServerConfiguration, RefusesWhatStrongswanCannotDo)
{
    const std::string gateway = "[[strongswan.gateway]]\n";
    const std::pair<std::string, const char*> cases[] = {
        {"[strongswan]\nike-version = 3\n",
         "9:15: strongswan.ike-version: 3 is not allowed, only an integer from 1 to 2"},
        {"[strongswan]\nmode = \"x\"\n",
         "9:8: strongswan.mode: 'x' is not allowed, only: auto, transport, tunnel"},
        {gateway + "destination = \"x\"\nremote = \"192.0.2.1\"\n",
         "9:15: strongswan.gateway[0].destination: 'x' is not an address, a subnet or a range"},
        {gateway + "destination = \"10.0.0.0/8\"\nremote = \"192.0.2.0/24\"\n",
         "10:10: strongswan.gateway[0].remote: '192.0.2.0/24' is not an address"},
        {gateway + "destination = \"10.0.0.0/8\"\nremote = \"192.0.2.1\"\nlocal = \"::1\"\n",
         "11:9: strongswan.gateway[0].local: '::1' is not an address like that of remote"},
        {gateway + "destination = \"10.0.0.0/8\"\n", "8:1: strongswan.gateway[0].remote: is missing"},
    };
    for (const auto& [text, error] : cases)
        EXPECT_EQ(error, errorOf(SMALLEST + text)) << text;
}

} // namespace
