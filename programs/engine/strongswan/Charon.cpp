// Starting, filling and ending of the daemon.

#include "Charon.h"

#include "Connection.h"
#include "Kernel.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto START_TIME = seconds(10);
constexpr auto LOAD_TIME = seconds(15);
constexpr auto STOP_TIME = seconds(7);
constexpr auto EXCHANGE_TIME = seconds(10);
constexpr auto LOOK_INTERVAL = milliseconds(10);
// For the other end to say that it has heard of a tunnel's end.
constexpr const char* DELETE_MILLISECONDS = "1500";

// Folders that swanctl looks into and complains about if they are missing.
constexpr const char* CREDENTIAL_FOLDERS[] = {"x509",    "x509ca", "x509ocsp", "x509aa", "x509ac",
                                              "x509crl", "pubkey", "rsa",      "ecdsa",  "bliss",
                                              "pkcs8",   "pkcs12", "private",  "conf.d"};

std::string configuration(const std::string& socket, const std::string& log)
{
    const std::string vici = "unix://" + socket;
    return "charon-systemd {\n"
           "    load = random nonce openssl aes des sha1 sha2 hmac kdf gmp gcm drbg pem pkcs1 pkcs8 x509 "
           "pubkey "
           "constraints revocation kernel-netlink socket-default vici\n"
           "    install_routes = no\n"
           "    install_virtual_ip = no\n"
           "    plugins {\n        vici {\n            socket = \"" +
           vici +
           "\"\n        }\n    }\n"
           "    filelog {\n        troubles {\n            path = \"" +
           log +
           "\"\n            default = 1\n            enc = 0\n            net = 0\n            ike_name = "
           "yes\n"
           "            flush_line = yes\n        }\n    }\n"
           "    syslog {\n        identifier = ipseccfg-charon\n        daemon {\n            default = 1\n  "
           "      }\n"
           "    }\n}\n"
           "swanctl {\n    load = random openssl pem pkcs1 pkcs8 x509 pubkey\n    socket = \"" +
           vici + "\"\n}\n";
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    if (!stream.flush())
        throw std::runtime_error(path + ": cannot be written");
}

// The lines as one; a last one that only says that something failed adds nothing.
std::string oneLine(const std::string& text)
{
    std::string line = text;
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    std::string result;
    for (const char character : line)
        result += character == '\n' ? std::string("; ") : std::string(1, character);
    return result;
}

// An open network namespace; that of this process has no name and needs none.
class Namespace {
public:
    explicit Namespace(const std::string& name)
    {
        if (name.empty())
            return;
        descriptor_ = open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor_ < 0)
            throw std::runtime_error("namespace '" + name + "': " + std::generic_category().message(errno));
    }
    ~Namespace()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    Namespace(const Namespace&) = delete;
    Namespace& operator=(const Namespace&) = delete;

    int descriptor() const { return descriptor_; }

private:
    int descriptor_ = -1;
};

using Children = std::map<std::string, std::set<std::string>>; // of each connection

Children childrenIn(vici::Connection& connection)
{
    Children children;
    for (const vici::Element& event : connection.stream("list-conns", "list-conn"))
        for (const vici::Element& entry : event.elements())
            for (const vici::Element& child : entry.section("children").elements())
                children[entry.name()].insert(child.name());
    return children;
}

void terminate(vici::Connection& connection, const std::string& kind, const std::string& id)
{
    vici::Element message;
    message.add(kind, id).add("timeout", DELETE_MILLISECONDS).add("force", "yes").add("loglevel", "-1");
    const vici::Element answer = connection.request("terminate", message);
    if (answer.value("success") != "yes")
        syslog(LOG_WARNING, "the end of the tunnel %s was not confirmed: %s", id.c_str(),
               answer.value("errmsg").c_str());
}

// What a daemon that was killed has left in a namespace, if there still is such a one.
void flush(const std::string& nameSpace)
{
    try {
        runInNamespace(Namespace(nameSpace).descriptor(), flushKernel);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): gone with all that was in it
    }
}

} // namespace

Charon::Charon(const Places& places)
    : places_(places)
{}

Charon::~Charon()
{
    if (!runs())
        return;
    kill(pid_, SIGKILL);
    waitForEnd(pid_, STOP_TIME);
}

void Charon::start(const std::string& nameSpace)
{
    const Namespace entered(nameSpace);
    removeLeftovers_();
    try {
        makeFolder_();
        troubles_ = std::make_unique<Troubles>(log_(), places_.folder + "/troubles");
        pid_ = startProgram(program_({places_.charon}), entered.descriptor(), places_.folder + "/errors");
        nameSpace_ = nameSpace;
        waitUntilItListens_();
    } catch (...) {
        stop();
        throw;
    }
}

void Charon::load(const Settings& settings)
{
    place_(settings);
    troubles_->forget();
    const Ending ending =
        runProgram(program_({places_.swanctl, "--load-all", "--clear", "--noprompt"}), LOAD_TIME);
    if (!ending.inTime)
        throw std::runtime_error("swanctl did not end in time");
    // It also ends with 0 if it cannot open or read its file.
    if (ending.status != 0 || !ending.errors.empty())
        throw std::runtime_error("swanctl: " + (ending.errors.empty()
                                                    ? "exit status " + std::to_string(ending.status)
                                                    : oneLine(ending.errors)));
    checkPolicies_();
}

// The daemon only logs if the kernel refuses a policy, and traffic would then go in clear.
void Charon::checkPolicies_() const
{
    vici::Connection connection(socket_(), EXCHANGE_TIME);
    vici::Element kinds;
    kinds.add("trap", "yes").add("drop", "yes").add("pass", "yes");
    std::set<std::string> installed;
    for (const vici::Element& event : connection.stream("list-policies", "list-policy", kinds))
        for (const vici::Element& policy : event.elements())
            installed.insert(policy.value("child"));
    for (const auto& [name, children] : childrenIn(connection))
        for (const std::string& child : children)
            if (installed.count(child) == 0)
                throw std::runtime_error("the kernel did not take the policy " + child);
}

void Charon::endTunnels(bool all)
{
    vici::Connection connection(socket_(), EXCHANGE_TIME);
    const Children wanted = childrenIn(connection);
    for (const vici::Element& event : connection.stream("list-sas", "list-sa"))
        for (const vici::Element& ike : event.elements()) {
            const auto known = wanted.find(ike.name());
            if (all || known == wanted.end()) {
                terminate(connection, "ike-id", ike.value("uniqueid"));
                continue;
            }
            for (const vici::Element& child : ike.section("child-sas").elements())
                if (known->second.count(child.value("name")) == 0)
                    terminate(connection, "child-id", child.value("uniqueid"));
        }
}

void Charon::stop()
{
    if (runs()) {
        kill(pid_, SIGTERM);
        if (!waitForEnd(pid_, STOP_TIME)) {
            kill(pid_, SIGKILL);
            waitForEnd(pid_, STOP_TIME);
            flush(nameSpace_);
        }
        pid_ = -1;
    }
    troubles_.reset();
    std::error_code ignored;
    fs::remove_all(places_.folder, ignored);
}

bool Charon::hasEnded()
{
    if (!runs() || waitpid(pid_, nullptr, WNOHANG) != pid_)
        return false;
    pid_ = -1;
    return true;
}

std::size_t Charon::connections() const
{
    vici::Connection connection(socket_(), EXCHANGE_TIME);
    return childrenIn(connection).size();
}

void Charon::removeLeftovers_() const
{
    if (!fs::exists(fs::symlink_status(places_.folder)))
        return;
    try {
        flush(readSettings(places_.folder + "/swanctl.conf").nameSpace);
    } catch (const std::exception&) {
        flush("");
    }
    fs::remove_all(places_.folder);
}

void Charon::makeFolder_() const
{
    if (mkdir(places_.folder.c_str(), S_IRWXU) != 0)
        throw std::runtime_error(places_.folder + ": " + std::generic_category().message(errno));
    for (const char* const name : CREDENTIAL_FOLDERS)
        fs::create_directory(places_.folder + "/" + name);
    writeFile(places_.folder + "/strongswan.conf", configuration(socket_(), log_()));
}

// A socket alone proves nothing: somebody has to answer.
void Charon::waitUntilItListens_()
{
    const auto deadline = std::chrono::steady_clock::now() + START_TIME;
    for (;;) {
        try {
            vici::Connection(socket_(), EXCHANGE_TIME).request("version");
            return;
        } catch (const std::exception& failure) {
            if (hasEnded()) {
                std::ifstream errors(places_.folder + "/errors");
                const std::string words =
                    oneLine({std::istreambuf_iterator<char>(errors), std::istreambuf_iterator<char>()});
                throw std::runtime_error(places_.charon + ": ended" + (words.empty() ? "" : ": " + words));
            }
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error(places_.charon + ": does not answer: " + failure.what());
        }
        std::this_thread::sleep_for(LOOK_INTERVAL);
    }
}

// swanctl reads keys from a folder only; their names in it are ours.
void Charon::place_(const Settings& settings) const
{
    const std::string keys = places_.folder + "/private";
    fs::remove_all(keys);
    fs::create_directory(keys);
    std::size_t number = 0;
    for (const std::string& key : settings.privateKeys) {
        // swanctl says nothing of a link that leads nowhere.
        if (access(key.c_str(), R_OK) != 0)
            throw std::runtime_error(key + ": " + std::generic_category().message(errno));
        fs::create_symlink(key, keys + "/key-" + std::to_string(++number));
    }
    writeFile(places_.folder + "/swanctl.conf", settings.content);
}

Program Charon::program_(const std::vector<std::string>& words) const
{
    return {words,
            {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "STRONGSWAN_CONF=" + places_.folder + "/strongswan.conf",
             "SWANCTL_DIR=" + places_.folder},
            places_.folder};
}

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan
