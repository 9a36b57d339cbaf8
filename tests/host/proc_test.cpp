// Process lookup.

#include "Host.h"
#include "Proc.h"

#include <type_traits>

namespace tests {
namespace {

using norvale::tamber::systemdata::ipseccfg::server::Proc;

class ProcFind : public HostTest {};

TEST_F(ProcFind, AsksPidofForTheName)
{
    host.prints("pidof engine -d", "123\n");
    EXPECT_EQ(123, Proc::find("engine -d"));
    EXPECT_EQ((Asked{"popen pidof engine -d", "pclose"}), host.asked());
}

TEST_F(ProcFind, ReportsEveryFailureAsMinusOne)
{
    EXPECT_EQ(-1, Proc::find("popen fails"));
    EXPECT_EQ((Asked{"popen pidof popen fails"}), host.asked());
    host.prints("pidof none", "");
    EXPECT_EQ(-1, Proc::find("none"));
}

TEST_F(ProcFind, ReadsTheLeadingNumberOfTheLastChunkOfFifteenCharacters)
{
    const struct {
        const char* output;
        int pid;
    } rows[] = {
        {"7\n", 7},
        {"7", 7},
        {"123 456\n", 123},
        {"1234567 654321\n", 1234567},        // 15 characters: one chunk
        {"1234567 7654321\n", 0},             // 16: the line end is a chunk of its own
        {"11111 22222 33333 44444\n", 33},    // cut within the third number
        {"11111 22222 333 44444 5\n", 44444}, // cut at a blank
        {"11111\n22\n", 22},                  // the last line
        {"not a number\n", 0},
        {"\n", 0},
    };
    for (const auto& row : rows) {
        host.prints("pidof engine", row.output);
        EXPECT_EQ(row.pid, Proc::find("engine")) << row.output;
    }
}

TEST(Proc, IsMadeWithOrWithoutAProcessId)
{
    const Proc none;
    const Proc one(1);
    EXPECT_TRUE(std::has_virtual_destructor<Proc>::value);
    EXPECT_FALSE(std::is_copy_constructible<Proc>::value);
}

} // namespace
} // namespace tests
