// Folders, requests and processes for the tests of the server and its engine.

#include "server_support.h"

#include "CArrayParser.h"
#include "PayloadBuilder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <linux/sockios.h>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tests {

namespace fs = std::filesystem;
using namespace norvale::tamber::systemdata::ipseccfg::common;
using norvale::tamber::systemdata::parser::CArrayParser;
using norvale::tamber::systemdata::parser::CIStream;
using norvale::tamber::systemdata::parser::COStream;

const std::string SECRET = "correct horse battery staple";

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = fs::temp_directory_path() / "ipseccfg-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream stream(path, std::ios::binary);
    stream << content;
    if (!stream.flush())
        throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        return "<no file>";
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

bool exists(const std::string& path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename() != ".lock")
            names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

unsigned modeOf(const std::string& path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

bool eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

RequestParts::RequestParts()
    : phase1(createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                       AuthenticationMethod::PSK, SECRET, GroupDescription::G14,
                                       LifeType::SECOND, 28800))
    , phase2(createSecurityAssociation(EncryptionAlgorithm::AES_GCM, 128, HashAlgorithm::AES_GCM,
                                       LifeType::SECOND, 3600))
{
    const FilterRulePtr use = createFilterRule(FilterRule::Use, "192.0.2.1", "192.0.2.2");
    use->setIdentityType(FilterRule::Email);
    use->setSrcIdentity("a@example.org");
    use->setDstIdentity("b@example.org");
    use->setPriority(10);
    used = {use};
    others = {createFilterRule(FilterRule::Bypass, "192.0.2.1", "192.0.2.3"),
              createFilterRule(FilterRule::Discard, "192.0.2.1", "192.0.2.4")};
    others.front()->setPriority(0);
    others.back()->setPriority(99);
    certificates = {
        createCertificate(Certificate::EndEntity, "/etc/ipseccfg/device.pem", "/etc/ipseccfg/device.key"),
        createCertificate(Certificate::RootCA, "/etc/ipseccfg/root.pem", "")};
}

namespace {

void write(CArrayParser& request, Command&& message)
{
    message.setArrayParser(&request);
    message.execute();
}

} // namespace

std::string requestText(const RequestParts& parts)
{
    CArrayParser request;
    request.setCommand("/usr/sbin/systemdataIPsecCfgServer");
    write(request, ScenarioSerializer(parts.scenario, parts.settingFile, parts.fips, parts.nameSpace));
    if (parts.scenario != ScenarioCommand::Shutdown) {
        write(request, SecurityAssociationSerializer(parts.phase1, parts.phase2));
        write(request, FilterRuleSerializer(parts.used, parts.others));
        write(request, CertificateSerializer(parts.certificates));
    }
    std::ostringstream text;
    COStream out(text);
    if (request.serialize(out) != 0)
        throw std::runtime_error("the request cannot be carried");
    return text.str();
}

std::string startText(const std::string& settingFile)
{
    RequestParts parts;
    parts.settingFile = settingFile;
    return requestText(parts);
}

std::string restartText(const std::string& settingFile)
{
    RequestParts parts;
    parts.scenario = ScenarioCommand::Restart;
    parts.settingFile = settingFile;
    parts.fips = true;
    return requestText(parts);
}

std::string shutdownText(const std::string& settingFile)
{
    RequestParts parts;
    parts.scenario = ScenarioCommand::Shutdown;
    parts.settingFile = settingFile;
    return requestText(parts);
}

ReadAnswer readAnswer(const std::string& text)
{
    std::istringstream stream(text);
    CIStream in(stream);
    CArrayParser message;
    ReadAnswer answer;
    if (message.parse(in) != 0 || message.getElements().size() != 1)
        return answer;
    ResultDeserializer result;
    result.setArrayParser(&message);
    result.execute();
    answer.status = result.getStatus();
    answer.detail = result.getDetail();
    return answer;
}

std::string inWords(const std::string& text)
{
    const ReadAnswer answer = readAnswer(text);
    if (answer.status == ResultCommand::Success)
        return "success: " + answer.detail;
    return (answer.status == ResultCommand::Failure ? "failure: " + answer.detail : "no answer: " + text);
}

namespace {

// As the system takes them, a null pointer last.
std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers(texts.size() + 1, nullptr);
    std::transform(texts.begin(), texts.end(), pointers.begin(),
                   [](std::string& text) { return text.data(); });
    return pointers;
}

} // namespace

void waitForProgramOf(pid_t pid)
{
    // An emulator shows a program another "self", but not as a thread.
    const std::string file = "/proc/" + std::to_string(pid) + "/cmdline";
    if (!eventually([&file] { return readFile(file) != readFile("/proc/thread-self/cmdline"); }))
        throw std::runtime_error("no other program runs");
}

Process::Process(const std::vector<std::string>& command, const std::vector<std::string>& environment)
{
    std::array<int, 2> ends = {};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("no socket");
    socket_ = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::vector<std::string> words = command;
    std::vector<std::string> variables = environment;
    const std::vector<char*> argv = pointersTo(words);
    const std::vector<char*> envp = pointersTo(variables);
    const int error = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0)
        throw std::runtime_error("cannot start " + command.front());
    waitForProgramOf(pid_);
}

Process::~Process()
{
    if (socket_ >= 0)
        hangUp();
    if (status_ == -1) {
        kill(pid_, SIGKILL);
        wait();
    }
}

bool Process::send(const std::string& text)
{
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count < 0)
            return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void Process::endInput()
{
    shutdown(socket_, SHUT_WR);
}

void Process::hangUp()
{
    close(std::exchange(socket_, -1));
}

bool Process::hasReadAll() const
{
    int unread = 0;
    return ioctl(socket_, SIOCOUTQ, &unread) == 0 && unread == 0;
}

bool Process::hasAnswered(std::chrono::milliseconds time) const
{
    pollfd ready = {socket_, POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(time.count())) > 0;
}

std::string Process::readAll()
{
    constexpr int MINUTE = 60000;
    std::string text;
    std::array<char, 4096> buffer = {};
    pollfd ready = {socket_, POLLIN, 0};
    while (poll(&ready, 1, MINUTE) > 0) {
        const ssize_t count = read(socket_, buffer.data(), buffer.size());
        if (count <= 0)
            return text;
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text + "<never ends>";
}

int Process::wait()
{
    if (status_ == -1) {
        int status = 0;
        waitpid(pid_, &status, 0);
        status_ = status;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
}

bool Process::hasLeftACore() const
{
    return WIFSIGNALED(status_) && WCOREDUMP(status_);
}

void Process::signal(int number)
{
    kill(pid_, number);
}

bool lives(pid_t pid)
{
    const std::string status = readFile("/proc/" + std::to_string(pid) + "/status");
    return status != "<no file>" && status.find("\nState:\tZ") == std::string::npos;
}

pid_t pidIn(const std::string& file)
{
    std::ifstream stream(file);
    pid_t pid = -1;
    stream >> pid;
    return stream ? pid : -1;
}

} // namespace tests
