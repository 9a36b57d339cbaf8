// Loading and unloading of one kernel module.

#include "Exceptions.h"
#include "Host.h"
#include "Module.h"

#include <stdexcept>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::server;

class KernelModule : public HostTest {};

TEST_F(KernelModule, IsLoadedByItsFileAndOption)
{
    EXPECT_EQ(0, Module("/lib/modules/x/foo.ko").install("debug=1"));
    EXPECT_EQ(0, createModule("foo")->install(""));
    EXPECT_EQ((Asked{"/sbin/insmod /lib/modules/x/foo.ko debug=1", "/sbin/insmod foo "}), host.asked());
}

TEST_F(KernelModule, IsUnloadedByItsNameAndOption)
{
    const struct {
        const char* file;
        const char* commandLine;
    } rows[] = {{"/lib/modules/x/foo.ko", "/sbin/rmmod -s foo -w"},
                {"/lib/modules/2.6/foo.o", "/sbin/rmmod -s foo -w"},
                {"foo.ko", "/sbin/rmmod -s foo -w"},
                {"foo", "/sbin/rmmod -s foo -w"},
                {"/a.b/foo", "/sbin/rmmod -s foo -w"},
                {"/x/.ko", "/sbin/rmmod -s  -w"},
                {"/x/", "/sbin/rmmod -s  -w"}};
    for (const auto& row : rows) {
        host.reset();
        EXPECT_EQ(0, Module(row.file).remove("-w")) << row.file;
        EXPECT_EQ((Asked{row.commandLine}), host.asked()) << row.file;
    }
    host.reset();
    EXPECT_EQ(0, Module("foo.ko").remove(""));
    EXPECT_EQ((Asked{"/sbin/rmmod -s foo "}), host.asked());
}

TEST_F(KernelModule, WithAnotherExtensionIsNotUnloaded)
{
    const struct {
        const char* file;
        const char* text;
    } rows[] = {{"foo.bar.ko", "Illegal extension name: %sbar.ko"},
                {"/x/foo.so", "Illegal extension name: %sso"},
                {"foo.", "Illegal extension name: %s"},
                {"foo.KO", "Illegal extension name: %sKO"},
                {"foo.ko.xz", "Illegal extension name: %sko.xz"}};
    for (const auto& row : rows)
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([&] { Module(row.file).remove(""); }));
    EXPECT_EQ(Asked(), host.asked());
}

TEST_F(KernelModule, IsLoadedWhateverItsExtension)
{
    EXPECT_EQ(0, Module("foo.bar.ko").install(""));
    EXPECT_EQ((Asked{"/sbin/insmod foo.bar.ko "}), host.asked());
}

TEST_F(KernelModule, ReturnsTheCommandsExitCode)
{
    for (const int code : {0, 1, 127, 255}) {
        host.reset();
        host.exits("/sbin/insmod foo.ko ", {code}).exits("/sbin/rmmod -s foo ", {code});
        EXPECT_EQ(code, Module("foo.ko").install(""));
        EXPECT_EQ(code, Module("foo.ko").remove(""));
    }
}

TEST_F(KernelModule, ReportsASignalThatEndedOrStoppedTheCommand)
{
    const struct {
        int status;
        const char* text;
    } rows[] = {{9, "Abnormal termination: signal number: %d9"},
                {11 | 0x80, "Abnormal termination: signal number: %d11"}, // with a core dump
                {(19 << 8) | 0x7f, "Child stopped: signal number: %d19"}};
    for (const auto& row : rows) {
        host.reset();
        host.returns("/sbin/insmod foo.ko ", row.status).returns("/sbin/rmmod -s foo ", row.status);
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([] { Module("foo.ko").install(""); }));
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([] { Module("foo.ko").remove(""); }));
    }
}

TEST_F(KernelModule, ReturnsMinusOneForACommandThatDidNotRun)
{
    host.returns("/sbin/insmod foo.ko ", -1).returns("/sbin/rmmod -s foo ", 0xffff);
    EXPECT_EQ(-1, Module("foo.ko").install(""));
    EXPECT_EQ(-1, Module("foo.ko").remove(""));
}

TEST_F(KernelModule, NamesItsCommands)
{
    EXPECT_STREQ("/sbin/insmod", Module::INSTALL_COMMAND);
    EXPECT_STREQ("/sbin/rmmod -s", Module::REMOVE_COMMAND);
}

// A kind of module that does its work in another way.
class SilentModule : public Module {
public:
    SilentModule()
        : Module("silent.ko")
    {}

private:
    int doInstall_(const std::string& option) override { return static_cast<int>(option.size()); }
    int doRemove_(const std::string& option) override { return -static_cast<int>(option.size()); }
};

TEST_F(KernelModule, LetsADerivedKindDoTheWork)
{
    SilentModule silent;
    EXPECT_EQ(4, static_cast<Module&>(silent).install("four"));
    EXPECT_EQ(-4, static_cast<Module&>(silent).remove("four"));
    EXPECT_EQ(Asked(), host.asked());
}

} // namespace
} // namespace tests
