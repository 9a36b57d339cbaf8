// Any bytes as a request to the server, on a host in which nothing is real but the files: there is always an answer;
// no command line and no signal holds anything of a request; a failure leaves the files as they were; and what a
// success leaves, the standalone engine can read.

#include "Fuzzing.h"

#include "server_host.h"

#include "Channel.h"
#include "Exchange.h"
#include "Settings.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" int fsync(int /*fd*/)
{
    return 0; // nobody pulls the plug
}

namespace {

using namespace norvale::tamber::systemdata::ipseccfg;
using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace std::chrono_literals;
using tests::require;

// Every file below the setting directory with its content, or what it leads to.
std::string contentOf(const std::string& directory)
{
    std::string content;
    for (const std::string& name : tests::namesIn(directory)) {
        const std::string path = directory + "/" + name;
        content += name + ": " +
                   (std::filesystem::is_symlink(path) ? std::filesystem::read_symlink(path).string()
                                                      : tests::readFile(path)) +
                   "\n";
    }
    return content;
}

// Its engine starts and ends as it is told, takes over any settings, and is ready at once.
class Device {
public:
    Device()
    {
        std::filesystem::create_directory(directory);
        chmod(directory.c_str(), S_IRWXU);
        tests::writeFile(configuration_, "engine = \"standalone\"\nsetting-directory = \"" + directory +
                                             "\"\nmax-request-bytes = 60000\n[service]\ncommand = \"" +
                                             host.engine + "\"\npid-file = \"" + host.pidFile +
                                             "\"\nstop-signal = \"TERM\"\nreconfigure-signal = \"HUP\"\n"
                                             "[[modules.module]]\npath = \"/lib/modules/one.ko\"\n"
                                             "install-option = \"a=1\"\nremove-option = \"-w\"\n");
        limits_.stop = 0ms;
        limits_.putBack = 0ms;
        host.onCommand = [this](const std::string& command) {
            if (command.find(host.engine) == 0)
                setRunning(true);
            host.announce();
            return 0;
        };
        host.onSignal = [this](int signal) {
            setRunning(signal == SIGHUP);
            host.announce();
        };
    }

    void setRunning(bool running)
    {
        if (running == isRunning())
            return;
        if (running)
            host.startEngine();
        else
            host.endEngine();
    }
    bool isRunning() const { return host.enginePid > 0; }

    /// As it is after a request that set a file, or before any.
    void putBack(bool running)
    {
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            std::filesystem::remove_all(entry.path());
        setRunning(running);
        if (running) {
            tests::writeFile(directory + "/engine.conf", "the old settings");
            std::filesystem::create_symlink("engine.conf", directory + "/.current");
        }
        host.asked.clear();
        host.logged.clear();
    }

    /// The answer to a request.
    std::string exchangeWith(const std::string& request)
    {
        const int input = memfd_create("request", MFD_CLOEXEC);
        const int output = memfd_create("answer", MFD_CLOEXEC);
        const int answer = dup(output);
        require(input >= 0 && answer >= 0, "there are descriptors");
        require(write(input, request.data(), request.size()) == static_cast<ssize_t>(request.size()),
                "there is memory");
        lseek(input, 0, SEEK_SET);
        {
            Channel channel{Descriptor(input), Descriptor(output)};
            require(exchange(channel, configuration_, limits_), "the answer is sent");
        }
        std::string text(static_cast<std::size_t>(lseek(answer, 0, SEEK_CUR)), '\0');
        require(pread(answer, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
                "the answer can be read");
        close(answer);
        return text;
    }

    /// That nothing was asked of the host but what the configuration says.
    void checkAsked() const
    {
        const std::string words[] = {"/sbin/insmod /lib/modules/one.ko a=1", "/sbin/rmmod -s one -w",
                                     host.engine + " --setting-file " + directory + "/.current --pid-file " +
                                         host.pidFile + " --reason-file " + directory + "/.reason",
                                     "signal " + std::to_string(SIGTERM), "signal " + std::to_string(SIGHUP)};
        for (const std::string& asked : host.asked)
            require(std::find(std::begin(words), std::end(words), asked) != std::end(words),
                    "nothing of a request reaches the host");
        require(host.logged.size() == 1, "a request is one line in the log");
    }

    tests::ServerHost host;
    const std::string directory = host.folder / "settings";

private:
    const std::string configuration_ = host.folder / "server.toml";
    Limits limits_;
};

void check(Device& device, const std::string& request, bool running)
{
    device.putBack(running);
    const std::string before = contentOf(device.directory);
    const tests::ReadAnswer answer = tests::readAnswer(device.exchangeWith(request));
    require(answer.status == 0 || answer.status == 1, "the answer is an answer");
    device.checkAsked();
    if (answer.status == 1) {
        require(!answer.detail.empty(), "a failure is said in words");
        require(contentOf(device.directory) == before, "a failure leaves the files as they were");
        require(device.isRunning() == running, "a failure leaves the engine as it was");
        return;
    }
    if (device.isRunning())
        standalone::readSettings(device.directory + "/.current");
    else
        require(running && contentOf(device.directory).empty(), "a shutdown leaves no file");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Device device;
    std::string request = tests::textOf(data, size);
    if (request.size() < 40000) // every "@" may be a whole path
        tests::replaceAll(request, "@/", device.directory + "/");
    check(device, request, false);
    check(device, request, true);
    return 0;
}
