// A server whose behaviour a test writes down: the environment variable REQUESTER_SCRIPT holds its steps, in
// order and separated by blanks. After the last step it exits with 0.
//
//   read            reads its input up to the end
//   read:BYTES      reads so many bytes
//   answer          writes an answer
//   answer:BYTES    writes an answer with so many bytes of text
//   result          writes a result: failure
//   half            writes the first half of an answer
//   piecemeal       writes an answer, a byte at a time
//   echo            writes what it reads, as it reads
//   garbage         writes what is no answer
//   report          writes an answer that tells what the server was started with
//   trickle         writes a blank every 50 ms, for ever
//   hang            does nothing, for ever
//   sleep:MS        does nothing for a while
//   close-input     closes its standard input
//   close-output    tells its reader that nothing follows
//   stop-reading    makes its input end for the writer
//   ignore-term     ignores SIGTERM from here on
//   complain        writes a line to standard error
//   exit:CODE       ends
//   die             ends by SIGKILL
//   pid             writes its process id into the file "pid" in the folder REQUESTER_FOLDER
//   mark            makes the file "mark" there

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::string argv0;

void writeAll(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written < 0)
            std::exit(3);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

// Reads one piece of at most `limit` bytes; an empty one is the end.
std::string readSome(std::size_t limit)
{
    std::string bytes(std::min<std::size_t>(limit, 65536), '\0');
    const ssize_t size = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return bytes;
}

void readUpTo(std::size_t limit)
{
    while (limit > 0) {
        const std::size_t size = readSome(limit).size();
        if (size == 0)
            return;
        limit -= size;
    }
}

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        if (character == '&' || character == '<' || character == '>' || character == '\r')
            result += "&#" + std::to_string(static_cast<int>(character)) + ";";
        else
            result += character;
    }
    return result;
}

// The values are text as it stands in XML.
std::string answerWith(const std::map<std::string, std::string>& members)
{
    std::string text =
        "<?xml version=\"1.0\"?><methodResponse><params><param><value><array><data><value><struct>";
    for (const auto& [name, value] : members)
        text += "<member><name>" + name + "</name><value>" + value + "</value></member>";
    return text + "</struct></value></data></array></value></param></params></methodResponse>";
}

std::string answerOf(std::size_t bytes)
{
    return answerWith({{"text", std::string(bytes, 'x')}});
}

std::string targetOf(const fs::path& link)
{
    std::error_code error;
    return fs::read_symlink(link, error).string();
}

// The descriptors and what they are, without the one that lists them.
std::string openDescriptors()
{
    std::map<int, std::string> open;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        const std::string target = targetOf(entry.path());
        const int descriptor = std::stoi(entry.path().filename());
        if (descriptor == STDERR_FILENO)
            open[descriptor] = "error";
        else if (target.compare(0, 7, "socket:") == 0)
            open[descriptor] = "socket";
        else if (target.compare(0, 6, "/proc/") != 0)
            open[descriptor] = target;
    }
    std::string text;
    for (const auto& [descriptor, what] : open)
        text += (text.empty() ? "" : " ") + std::to_string(descriptor) + "=" + what;
    return text;
}

std::string statusLine(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::string key;
    std::string value;
    while (status >> key && std::getline(status >> std::ws, value))
        if (key == name)
            return value;
    return "?";
}

std::string report()
{
    return answerWith({{"argv0", escaped(argv0)},
                       {"descriptors", openDescriptors()},
                       {"standard-error", escaped(targetOf("/proc/self/fd/2"))},
                       {"blocked-signals", statusLine("SigBlk:")},
                       {"ignored-signals", statusLine("SigIgn:")}});
}

void makeFile(const std::string& name, const std::string& text)
{
    const char* const folder = std::getenv("REQUESTER_FOLDER");
    const std::string path = (folder != nullptr ? folder : ".") + ("/" + name);
    std::ofstream(path + ".new") << text;
    fs::rename(path + ".new", path);
}

[[noreturn]] void hang()
{
    for (;;)
        ::pause();
}

using Steps = std::map<std::string, std::function<void(const std::string&)>>;

const Steps& steps()
{
    static const Steps all = {
        {"read", [](const std::string& bytes) { readUpTo(bytes.empty() ? SIZE_MAX : std::stoul(bytes)); }},
        {"answer",
         [](const std::string& bytes) { writeAll(answerOf(bytes.empty() ? 0 : std::stoul(bytes))); }},
        {"result",
         [](auto&) {
             writeAll(answerWith({{"table-id", "4"}, {"status", "1"}, {"detail", std::string(100, 'x')}}));
         }},
        {"half", [](auto&) { writeAll(answerOf(0).substr(0, answerOf(0).size() / 2)); }},
        {"piecemeal",
         [](auto&) {
             for (const char byte : answerOf(0))
                 writeAll({&byte, 1});
         }},
        {"echo",
         [](auto&) {
             for (std::string bytes = readSome(SIZE_MAX); !bytes.empty(); bytes = readSome(SIZE_MAX))
                 writeAll(bytes);
         }},
        {"garbage", [](auto&) { writeAll("-bash: no such thing\n"); }},
        {"report", [](auto&) { writeAll(report()); }},
        {"trickle",
         [](auto&) {
             for (;;) {
                 writeAll(" ");
                 std::this_thread::sleep_for(std::chrono::milliseconds(50));
             }
         }},
        {"hang", [](auto&) { hang(); }},
        {"sleep",
         [](const std::string& ms) {
             std::this_thread::sleep_for(std::chrono::milliseconds(std::stol(ms)));
         }},
        {"close-input", [](auto&) { ::close(STDIN_FILENO); }},
        {"close-output", [](auto&) { ::shutdown(STDOUT_FILENO, SHUT_WR); }},
        {"stop-reading", [](auto&) { ::shutdown(STDIN_FILENO, SHUT_RD); }},
        {"ignore-term", [](auto&) { static_cast<void>(std::signal(SIGTERM, SIG_IGN)); }},
        {"complain", [](auto&) { std::exit(::write(STDERR_FILENO, "complaint\n", 10) == 10 ? 0 : 5); }},
        {"exit", [](const std::string& code) { ::_exit(std::stoi(code)); }},
        {"die", [](auto&) { ::kill(::getpid(), SIGKILL); }},
        {"pid", [](auto&) { makeFile("pid", std::to_string(::getpid())); }},
        {"mark", [](auto&) { makeFile("mark", ""); }},
    };
    return all;
}

} // namespace

int main(int argc, char* argv[])
{
    argv0 = argc == 1 ? argv[0] : "<arguments>";
    const char* const script = std::getenv("REQUESTER_SCRIPT");
    std::istringstream words(script != nullptr ? script : "");
    for (std::string word; words >> word;) {
        const std::size_t colon = std::min(word.find(':'), word.size());
        const auto step = steps().find(word.substr(0, colon));
        if (step == steps().end())
            return 2;
        step->second(word.substr(std::min(colon + 1, word.size())));
    }
    return 0;
}
