// Bringing the engine up and down: the order of steps, the retries, the wait. No time passes.

#include "Exceptions.h"
#include "Host.h"
#include "ModuleService.h"

#include <fstream>
#include <stdexcept>
#include <unistd.h>

namespace tests {
namespace {

using norvale::tamber::systemdata::ipseccfg::server::ModuleService;

constexpr std::size_t INTERVAL = 200000;

class EngineHost : public HostTest {
protected:
    EngineHost() { std::ofstream(pidFile_) << "123\n"; }
    ~EngineHost() override { unlink(pidFile_.c_str()); }

    static Asked readyWait() { return {"stat /tmp/quicksec.ready", "remove /tmp/quicksec.ready", "sleep 1"}; }

    static Asked joined(Asked first, const Asked& second)
    {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    const std::string pidFile_ = ::testing::TempDir() + "module-service-" + std::to_string(getpid()) + ".pid";
    ModuleService bare_{"/usr/sbin/engine", {}, INTERVAL, 3};
    ModuleService engine_{"/usr/sbin/engine", {"/m/xfrm.ko", "/m/esp4.ko"}, INTERVAL, 3};
};

class EngineLaunch : public EngineHost {};
class EngineShutdown : public EngineHost {};
class EngineReconfig : public EngineHost {};

TEST_F(EngineLaunch, LoadsTheModulesInOrderThenStartsTheServiceThenWaits)
{
    EXPECT_EQ(0, engine_.launch("-d", {"a=1", "b=2"}));
    EXPECT_EQ(joined({"/sbin/insmod /m/xfrm.ko a=1", "/sbin/insmod /m/esp4.ko b=2", "/usr/sbin/engine -d"},
                     readyWait()),
              host.asked());
}

TEST_F(EngineLaunch, GoesStraightToTheServiceWithoutModules)
{
    EXPECT_EQ(0, bare_.launch("", {}));
    EXPECT_EQ(joined({"/usr/sbin/engine "}, readyWait()), host.asked());
}

TEST_F(EngineLaunch, ComparesTheCountsBeforeItRunsAnything)
{
    for (const std::list<std::string>& options :
         {std::list<std::string>{}, std::list<std::string>{"a"}, std::list<std::string>{"a", "b", "c"}})
        EXPECT_EQ("number of modules and options mismatch in launch",
                  textThrownBy<std::runtime_error>([&] { engine_.launch("", options); }));
    EXPECT_EQ("number of modules and options mismatch in launch",
              textThrownBy<std::runtime_error>([&] { bare_.launch("", {"a"}); }));
    EXPECT_EQ(Asked(), host.asked());
}

TEST_F(EngineLaunch, TriesAStepAgainAfterAPauseUntilItSucceeds)
{
    host.exits("/sbin/insmod /m/esp4.ko ", {1, 1, 0}).exits("/usr/sbin/engine ", {2, 0});
    EXPECT_EQ(0, engine_.launch("", {"", ""}));
    EXPECT_EQ(joined({"/sbin/insmod /m/xfrm.ko ", "/sbin/insmod /m/esp4.ko ", "usleep 200000",
                      "/sbin/insmod /m/esp4.ko ", "usleep 200000", "/sbin/insmod /m/esp4.ko ",
                      "/usr/sbin/engine ", "usleep 200000", "/usr/sbin/engine "},
                     readyWait()),
              host.asked());
}

TEST_F(EngineLaunch, PausesAfterTheLastFailedAttemptToo)
{
    host.exits("/sbin/insmod /m/esp4.ko ", {1});
    EXPECT_EQ("Can't install module", textThrownBy<std::runtime_error>([this] {
                  engine_.launch("", {"", ""});
              }));
    EXPECT_EQ(
        (Asked{"/sbin/insmod /m/xfrm.ko ", "/sbin/insmod /m/esp4.ko ", "usleep 200000",
               "/sbin/insmod /m/esp4.ko ", "usleep 200000", "/sbin/insmod /m/esp4.ko ", "usleep 200000"}),
        host.asked());
}

TEST_F(EngineLaunch, JudgesTheLastModuleOnly)
{
    host.exits("/sbin/insmod /m/xfrm.ko ", {1});
    EXPECT_EQ(0, engine_.launch("", {"", ""}));
    EXPECT_EQ(3, host.count("/sbin/insmod /m/xfrm.ko "));
    EXPECT_EQ(1, host.count("/usr/sbin/engine "));
}

TEST_F(EngineLaunch, ReportsAServiceThatDoesNotStart)
{
    host.exits("/usr/sbin/engine ", {1});
    EXPECT_EQ("Can't start service", textThrownBy<std::runtime_error>([this] { bare_.launch("", {}); }));
    EXPECT_EQ((Asked{"/usr/sbin/engine ", "usleep 200000", "/usr/sbin/engine ", "usleep 200000",
                     "/usr/sbin/engine ", "usleep 200000"}),
              host.asked());
}

TEST_F(EngineLaunch, EndsAtOnceWhenASignalEndsAStep)
{
    host.returns("/sbin/insmod /m/xfrm.ko ", 9);
    EXPECT_EQ("Abnormal termination: signal number: %d9", textThrownBy<std::runtime_error>([this] {
                  engine_.launch("", {"", ""});
              }));
    EXPECT_EQ((Asked{"/sbin/insmod /m/xfrm.ko "}), host.asked());
}

TEST_F(EngineLaunch, WaitsSecondBySecondUntilTheEngineIsReady)
{
    host.readyAt(4);
    EXPECT_EQ(0, bare_.launch("", {}));
    EXPECT_EQ((Asked{"/usr/sbin/engine ", "stat /tmp/quicksec.ready", "sleep 1", "stat /tmp/quicksec.ready",
                     "sleep 1", "stat /tmp/quicksec.ready", "sleep 1", "stat /tmp/quicksec.ready",
                     "remove /tmp/quicksec.ready", "sleep 1"}),
              host.asked());
}

TEST_F(EngineLaunch, WaitsFortySecondsAtMost)
{
    host.readyAt(0);
    EXPECT_EQ("wait limit reached", textThrownBy<std::runtime_error>([this] { bare_.launch("", {}); }));
    EXPECT_EQ(40, host.count("stat /tmp/quicksec.ready"));
    EXPECT_EQ(40, host.count("sleep 1"));
    EXPECT_EQ(0, host.count("remove /tmp/quicksec.ready"));
}

TEST_F(EngineLaunch, TakesAReadyFileThatComesInTheLastSecond)
{
    host.readyAt(40);
    EXPECT_EQ(0, bare_.launch("", {}));
    EXPECT_EQ(39 + 1, host.count("sleep 1"));
}

TEST_F(EngineLaunch, ReportsAReadyFileThatCannotBeRemovedAfterThePause)
{
    host.readyFileCannotBeRemoved();
    EXPECT_EQ("Cant't remove ready file", textThrownBy<std::runtime_error>([this] { bare_.launch("", {}); }));
    EXPECT_EQ(joined({"/usr/sbin/engine "}, readyWait()), host.asked());
}

TEST_F(EngineLaunch, AttemptsNoStepWithARetryCountOfZero)
{
    ModuleService engine("/usr/sbin/engine", {"/m/esp4.ko"}, INTERVAL, 0);
    EXPECT_EQ(0, engine.launch("", {""}));
    EXPECT_EQ(readyWait(), host.asked());
}

TEST_F(EngineShutdown, StopsTheServiceThenUnloadsTheModulesLastFirstEachWithItsOwnOption)
{
    EXPECT_EQ(0, engine_.shutdown(pidFile_, {"-f", "-w"}, 15));
    EXPECT_EQ((Asked{"kill 123 15", "/sbin/rmmod -s esp4 -w", "/sbin/rmmod -s xfrm -f"}), host.asked());
}

TEST_F(EngineShutdown, UnloadsNothingWithoutModulesAndNeverWaits)
{
    EXPECT_EQ(0, bare_.shutdown(pidFile_, {}, 15));
    EXPECT_EQ((Asked{"kill 123 15"}), host.asked());
}

TEST_F(EngineShutdown, ComparesTheCountsOnceTheServiceIsStopped)
{
    EXPECT_EQ("number of modules and options mismatch in shutdown",
              textThrownBy<std::runtime_error>([this] { engine_.shutdown(pidFile_, {"-w"}, 15); }));
    EXPECT_EQ((Asked{"kill 123 15"}), host.asked());
}

TEST_F(EngineShutdown, ReportsAServiceThatCannotBeSignalledBeforeAnythingElse)
{
    host.killResults({-1});
    EXPECT_EQ("Can't stop service",
              textThrownBy<std::runtime_error>([this] { engine_.shutdown(pidFile_, {}, 15); }));
    EXPECT_EQ((Asked{"kill 123 15", "usleep 200000", "kill 123 15", "usleep 200000", "kill 123 15",
                     "usleep 200000"}),
              host.asked());
}

TEST_F(EngineShutdown, SignalsAgainAfterAFailure)
{
    host.killResults({-1, 0});
    EXPECT_EQ(0, bare_.shutdown(pidFile_, {}, 15));
    EXPECT_EQ((Asked{"kill 123 15", "usleep 200000", "kill 123 15"}), host.asked());
}

TEST_F(EngineShutdown, JudgesTheFirstModuleOnly)
{
    host.exits("/sbin/rmmod -s esp4 ", {1});
    EXPECT_EQ(0, engine_.shutdown(pidFile_, {"", ""}, 15));
    EXPECT_EQ(3, host.count("/sbin/rmmod -s esp4 "));
    EXPECT_EQ(1, host.count("/sbin/rmmod -s xfrm "));
}

TEST_F(EngineShutdown, ReportsTheFirstModuleWhenItCannotBeUnloaded)
{
    host.exits("/sbin/rmmod -s xfrm ", {1});
    EXPECT_EQ("Can't remove module", textThrownBy<std::runtime_error>([this] {
                  engine_.shutdown(pidFile_, {"", ""}, 15);
              }));
    EXPECT_EQ((Asked{"kill 123 15", "/sbin/rmmod -s esp4 ", "/sbin/rmmod -s xfrm ", "usleep 200000",
                     "/sbin/rmmod -s xfrm ", "usleep 200000", "/sbin/rmmod -s xfrm ", "usleep 200000"}),
              host.asked());
}

TEST_F(EngineShutdown, LetsAnIllegalExtensionEndTheOperation)
{
    ModuleService engine("/usr/sbin/engine", {"/m/a.ko", "/m/b.so", "/m/c.ko"}, INTERVAL, 3);
    EXPECT_EQ("Illegal extension name: %sso", textThrownBy<std::runtime_error>([&] {
                  engine.shutdown(pidFile_, {"", "", ""}, 15);
              }));
    EXPECT_EQ((Asked{"kill 123 15", "/sbin/rmmod -s c "}), host.asked());
}

TEST_F(EngineShutdown, LetsAMissingProcessEndTheOperation)
{
    EXPECT_EQ("Can't get pid from /proc: cmdname: engine", textThrownBy<std::runtime_error>([this] {
                  engine_.shutdown("/no/such.pid", {"", ""}, 15);
              }));
    EXPECT_EQ((Asked{"popen pidof engine"}), host.asked());
}

TEST_F(EngineReconfig, SignalsTheServiceAndWaits)
{
    EXPECT_EQ(0, engine_.reconfig(pidFile_, 1));
    EXPECT_EQ(joined({"kill 123 1"}, readyWait()), host.asked());
}

TEST_F(EngineReconfig, ReportsAServiceThatCannotBeSignalled)
{
    host.killResults({-1});
    EXPECT_EQ("Can't re-configure service",
              textThrownBy<std::runtime_error>([this] { engine_.reconfig(pidFile_, 1); }));
    EXPECT_EQ(3, host.count("kill 123 1"));
    EXPECT_EQ(3, host.count("usleep 200000"));
    EXPECT_EQ(0, host.count("stat /tmp/quicksec.ready"));
}

TEST_F(EngineReconfig, WaitsFortySecondsAtMost)
{
    host.readyAt(0);
    EXPECT_EQ("wait limit reached",
              textThrownBy<std::runtime_error>([this] { engine_.reconfig(pidFile_, 1); }));
    EXPECT_EQ(40, host.count("sleep 1"));
}

} // namespace
} // namespace tests
