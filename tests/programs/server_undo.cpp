// Taking back of steps.

#include "Undo.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;

class ServerUndo : public ::testing::Test {
protected:
    void add(Undo& undo, const std::string& step)
    {
        undo.add([this, step] { done += step; });
    }

    std::string done;
};

TEST_F(ServerUndo, TakesTheLastStepBackFirst)
{
    {
        Undo undo;
        add(undo, "a");
        add(undo, "b");
        add(undo, "c");
    }
    EXPECT_EQ("cba", done);
}

TEST_F(ServerUndo, GoesOnIfAStepCannotBeTakenBack)
{
    Undo undo;
    add(undo, "a");
    undo.add([] { throw std::runtime_error("no"); });
    undo.add([] { throw 7; });
    add(undo, "d");
    undo.run();
    EXPECT_EQ("da", done);
}

TEST_F(ServerUndo, TakesEachStepBackOnce)
{
    Undo undo;
    add(undo, "a");
    undo.run();
    undo.run();
    EXPECT_EQ("a", done);
}

TEST_F(ServerUndo, LeavesWhatWasReleased)
{
    Undo undo;
    add(undo, "a");
    undo.release();
    undo.run();
    add(undo, "b");
    undo.run();
    EXPECT_EQ("b", done);
}

} // namespace
