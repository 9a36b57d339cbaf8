// The wait for the ready file with a limit of zero, which no public operation passes.

#include "Exceptions.h"
#include "Host.h"

#include <cstddef>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>

#if defined(__clang__)
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define private public
#include "ModuleService.h"
#undef private

namespace tests {
namespace {

using norvale::tamber::systemdata::ipseccfg::server::ModuleService;

class ReadyWait : public HostTest {};

TEST_F(ReadyWait, WithALimitOfZeroDoesNotLookAtTheFile)
{
    ModuleService engine("/usr/sbin/engine", {}, 1, 1);
    EXPECT_EQ("wait limit reached", textThrownBy<std::runtime_error>([&] { engine.waitReady_(0); }));
    EXPECT_EQ(Asked(), host.asked());
}

TEST_F(ReadyWait, ConsumesAFileThatIsThereWithoutASleepBeforeIt)
{
    ModuleService engine("/usr/sbin/engine", {}, 1, 1);
    EXPECT_EQ(0, engine.waitReady_(1));
    EXPECT_EQ((Asked{"stat /tmp/quicksec.ready", "remove /tmp/quicksec.ready", "sleep 1"}), host.asked());
}

} // namespace
} // namespace tests
