// The host control when there is no memory: each operation with each of its allocations failing in turn. What
// the host was asked tells how far an operation came.

#include "FailingHeap.h"
#include "Host.h"
#include "ModuleService.h"
#include "Proc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <unistd.h>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::server;

// Longer than what a string holds without an allocation.
const std::string SERVICE = "/usr/sbin/an-engine-with-a-long-name";
const std::string FIRST = "/lib/modules/a-first-module-with-a-long-name.ko";
const std::string SECOND = "/lib/modules/a-second-module-with-a-long-name.ko";
const std::string OPTION = "an-option=of-some-length";

class HostMemory : public HostTest {
protected:
    HostMemory() { std::ofstream(pidFile_) << "123\n"; }
    ~HostMemory() override { unlink(pidFile_.c_str()); }

    /// Runs an operation with each allocation failing in turn. After each failure the host must have been asked
    /// a beginning of what it is asked when none fails, and nothing else.
    void expectNothingOutOfOrder(const std::function<void()>& operation, const Asked& whole, int least = 1)
    {
        const auto check = [&] {
            const Undisturbed undisturbed;
            const Asked asked = host.asked();
            EXPECT_LE(asked.size(), whole.size());
            EXPECT_TRUE(std::equal(asked.begin(), asked.end(), whole.begin()))
                << ::testing::PrintToString(asked);
            host.reset();
        };
        host.reset();
        EXPECT_LE(least, failEachAllocation(operation, check));
        EXPECT_EQ(whole, host.asked());
    }

    const std::string pidFile_ = ::testing::TempDir() + "host-memory-" + std::to_string(getpid()) + ".pid";
};

const std::list<std::string> MODULES = {FIRST, SECOND};
const std::list<std::string> OPTIONS = {OPTION, OPTION};
const Asked READY_WAIT = {"stat /tmp/quicksec.ready", "remove /tmp/quicksec.ready", "sleep 1"};

TEST_F(HostMemory, ThatRunsOutWhileAModuleIsMadeLeavesNone)
{
    std::shared_ptr<Module> module;
    EXPECT_LT(1,
              failEachAllocation([&] { module = createModule(FIRST); }, [&] { EXPECT_EQ(nullptr, module); }));
    EXPECT_NE(nullptr, module);
}

TEST_F(HostMemory, ThatRunsOutWhileAModuleIsLoadedOrUnloadedRunsNoCommand)
{
    const auto module = createModule(FIRST);
    expectNothingOutOfOrder([&] { module->install(OPTION); }, {"/sbin/insmod " + FIRST + " " + OPTION});
    expectNothingOutOfOrder([&] { module->remove(OPTION); },
                            {"/sbin/rmmod -s a-first-module-with-a-long-name " + OPTION});
}

TEST_F(HostMemory, ThatRunsOutForARefusalOfAModuleRunsNoCommand)
{
    const auto module = createModule("/lib/modules/a-module-with-a-long-name.extension");
    EXPECT_LT(1, failEach(
                     heap.failure, [&] { outcomeOf([&] { module->remove(OPTION); }); },
                     [&](long) { EXPECT_EQ(Asked(), host.asked()); }));
}

TEST_F(HostMemory, ThatRunsOutWhileAServiceIsDrivenAsksNothingElse)
{
    Service service(SERVICE);
    expectNothingOutOfOrder([&] { service.launch(OPTION); }, {SERVICE + " " + OPTION});
    expectNothingOutOfOrder([&] { service.shutdown(pidFile_, 15); }, {"kill 123 15"});
    expectNothingOutOfOrder([&] { service.reconfig(pidFile_, 1); }, {"kill 123 1"});
}

// A process that was not found must not be mistaken for one that was.
TEST_F(HostMemory, ThatRunsOutWhileAServiceIsSearchedSignalsNothingElse)
{
    Service service(SERVICE);
    const std::string command = "pidof an-engine-with-a-long-name";
    const Asked whole = {"popen " + command, "pclose", "kill 77 15"};
    const auto check = [&] {
        const Undisturbed undisturbed;
        EXPECT_LE(host.asked().size(), whole.size());
        EXPECT_TRUE(std::equal(host.asked().begin(), host.asked().end(), whole.begin()));
        host.reset();
        host.prints(command, "77\n");
    };
    host.prints(command, "77\n");
    EXPECT_LT(0, failEachAllocation([&] { service.shutdown("/no/pid/file/of/this/name", 15); }, check));
    EXPECT_EQ(whole, host.asked());
}

TEST_F(HostMemory, ThatRunsOutWhileAProcessIsSearchedIsNotTakenForItsAbsence)
{
    const std::string name = "an-engine-with-a-long-name";
    host.prints("pidof " + name, "77\n");
    int pid = 0;
    EXPECT_LT(0, failEachAllocation([&] { pid = Proc::find(name); }, [&] { EXPECT_EQ(0, pid); }));
    EXPECT_EQ(77, pid);
}

TEST_F(HostMemory, ThatRunsOutWhileAnEngineIsDescribedLeavesNone)
{
    std::unique_ptr<ModuleService> engine;
    EXPECT_LT(5, failEachAllocation([&] { engine = std::make_unique<ModuleService>(SERVICE, MODULES, 1, 3); },
                                    [&] { EXPECT_EQ(nullptr, engine); }));
    EXPECT_NE(nullptr, engine);
}

TEST_F(HostMemory, ThatRunsOutOnTheWayEndsAStartARestartOrAShutdownThere)
{
    ModuleService engine(SERVICE, MODULES, 1, 3);
    Asked launch = {"/sbin/insmod " + FIRST + " " + OPTION, "/sbin/insmod " + SECOND + " " + OPTION,
                    SERVICE + " " + OPTION};
    launch.insert(launch.end(), READY_WAIT.begin(), READY_WAIT.end());
    expectNothingOutOfOrder([&] { engine.launch(OPTION, OPTIONS); }, launch, 3);

    expectNothingOutOfOrder([&] { engine.shutdown(pidFile_, OPTIONS, 15); },
                            {"kill 123 15", "/sbin/rmmod -s a-second-module-with-a-long-name " + OPTION,
                             "/sbin/rmmod -s a-first-module-with-a-long-name " + OPTION},
                            3);

    Asked reconfig = {"kill 123 1"};
    reconfig.insert(reconfig.end(), READY_WAIT.begin(), READY_WAIT.end());
    expectNothingOutOfOrder([&] { engine.reconfig(pidFile_, 1); }, reconfig);
}

} // namespace
} // namespace tests
