// Identification of the engine's process.

#include "EngineProcess.h"

#include "FileBeginning.h"
#include "Text.h"
#include "Utility.h"
#include "Waiting.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr std::size_t LONGEST_FIRST_LINE = 256; // the system reads no more of a script either
constexpr std::size_t LONGEST_NUMBER = 64;

std::string processFile(pid_t pid, const char* name)
{
    return "/proc/" + std::to_string(pid) + "/" + name;
}

// What the link says, without the words that the system appends once the file is replaced; empty if it cannot
// be read.
std::string executableOf(pid_t pid)
{
    std::array<char, PATH_MAX> target = {};
    const ssize_t length = readlink(processFile(pid, "exe").c_str(), target.data(), target.size());
    if (length <= 0)
        return std::string();
    std::string path(target.data(), static_cast<std::size_t>(length));
    const std::string deleted = " (deleted)";
    if (path.size() > deleted.size() &&
        path.compare(path.size() - deleted.size(), deleted.size(), deleted) == 0)
        path.resize(path.size() - deleted.size());
    return path;
}

// The path without links; as it is if that cannot be found out.
std::string resolved(const std::string& path)
{
    std::array<char, PATH_MAX> target = {};
    return realpath(path.c_str(), target.data()) == nullptr ? path : std::string(target.data());
}

bool isOfServersUser(pid_t pid)
{
    const std::string label = "\nUid:\t";
    const std::string status = beginningOf(AT_FDCWD, processFile(pid, "status"), 4096);
    const std::size_t at = status.find(label);
    if (at == std::string::npos)
        return false;
    return std::strtoul(status.c_str() + at + label.size(), nullptr, 10) == getuid();
}

// The words that the system puts before a script's own arguments: interpreter, its argument if any, script.
// With env the program that it looks up takes its place. None if the file is not a script.
std::vector<std::string> scriptCommand(const std::string& path)
{
    const std::string text = beginningOf(AT_FDCWD, path, LONGEST_FIRST_LINE);
    if (text.compare(0, 2, "#!") != 0)
        return {};
    std::string line = text.substr(2, text.find('\n') - 2);
    line.erase(0, line.find_first_not_of(" \t"));
    line.erase(line.find_last_not_of(" \t") + 1);
    std::vector<std::string> words;
    const std::size_t blank = line.find_first_of(" \t");
    words.push_back(line.substr(0, blank));
    if (blank != std::string::npos)
        words.push_back(line.substr(line.find_first_not_of(" \t", blank)));
    const std::string& interpreter = words.front();
    if (words.size() == 2 && interpreter.substr(interpreter.rfind('/') + 1) == "env")
        words.erase(words.begin());
    words.push_back(path);
    return words;
}

template <class Condition>
bool waitUntilTold(Condition condition, std::chrono::milliseconds time) noexcept
{
    return waitUntil(
        [&condition] {
            try {
                return condition();
            } catch (const std::exception&) {
                return false; // it may be told in a moment
            }
        },
        time);
}

} // namespace

EngineProcess::EngineProcess(const std::string& pidFile, const std::string& command)
    : pidFile_(pidFile)
    , command_(command)
{}

std::optional<pid_t> EngineProcess::find() const
{
    const auto pid = readPidFile_();
    return pid && is(*pid) ? pid : std::nullopt;
}

bool EngineProcess::waitUntilThere(std::chrono::milliseconds time) const noexcept
{
    return waitUntilTold([this] { return find().has_value(); }, time);
}

bool EngineProcess::waitUntilGone(pid_t pid, std::chrono::milliseconds time) const noexcept
{
    return waitUntilTold([this, pid] { return !is(pid); }, time);
}

// A number alone on the first line; what the library reads from the file later is the same.
std::optional<pid_t> EngineProcess::readPidFile_() const
{
    const std::string content = beginningOf(AT_FDCWD, pidFile_, LONGEST_NUMBER + 1);
    const std::string line = content.substr(0, content.find('\n'));
    if (line.size() > LONGEST_NUMBER) // and who knows what follows
        return std::nullopt;
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), pid);
    if (error != std::errc() || end != line.data() + line.size() || pid <= 0)
        return std::nullopt;
    return pid;
}

bool EngineProcess::is(pid_t pid) const
{
    if (!isOfServersUser(pid))
        return false;
    const std::string executable = executableOf(pid);
    return (!executable.empty() && executable == resolved(command_)) || isScriptOf_(pid);
}

bool EngineProcess::isScriptOf_(pid_t pid) const
{
    const std::vector<std::string> expected = scriptCommand(command_);
    if (expected.empty())
        return false;
    std::string words;
    for (const std::string& word : expected)
        words += word + '\0';
    return beginningOf(AT_FDCWD, processFile(pid, "cmdline"), words.size()) == words;
}

PidFileCopy::PidFileCopy(pid_t pid)
    : file_(memfd_create("engine.pid", MFD_CLOEXEC))
{
    const std::string line = std::to_string(pid) + "\n";
    if (!file_ || write(file_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("pid file: " + programs::systemText(errno));
}

std::string PidFileCopy::path() const
{
    return processFile(getpid(), "fd/") + std::to_string(file_.get());
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
