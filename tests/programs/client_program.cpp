// ipseccfgctl as a process of its own, with scripted servers.

#include "client_support.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// A key that stands in no other text.
const std::string KEY = "sesame-2718";
const std::string KEY_ON_THE_WIRE = "736573616d652d32373138";

// What became of a run of the program.
struct Ended {
    int exitCode; // or the negative number of the signal that ended it
    std::string out;
    std::string err;
};

int waitFor(pid_t process)
{
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::string member(const std::string& name, const std::string& type, const std::string& value)
{
    return "<member><name>" + name + "</name><value><" + type + ">" + value + "</" + type +
           "></value></member>";
}

std::string response(const std::string& structures)
{
    return "<methodResponse><params><param><value><array><data>" + structures +
           "</data></array></value></param></params></methodResponse>";
}

std::string result(const std::string& status, const std::string& detail)
{
    return response("<value><struct>" + member("table-id", "int", "4") + member("status", "int", status) +
                    member("detail", "string", detail) + "</struct></value>");
}

std::string fault(const std::string& text)
{
    return "<methodResponse><fault><value><struct>" + member("faultCode", "int", "7") +
           member("faultString", "string", text) + "</struct></value></fault></methodResponse>";
}

class Program : public testing::Test {
protected:
    void SetUp() override
    {
        ::unsetenv("IPSECCFGSERVER");
        policy_ = folder_.write("policy.toml",
                                tests::withTransformAnd("authentication = \"PSK\"\npsk = \"" + KEY + "\"\n"));
    }

    void TearDown() override { ::unsetenv("IPSECCFGSERVER"); }

    /// Runs the program and reads what it prints, to files so that neither end waits for the other.
    Ended run(std::vector<std::string> arguments, const char* outFile = nullptr)
    {
        const std::string out = outFile == nullptr ? folder_ / "out" : outFile;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, (folder_ / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        std::vector<char*> argv = argumentsOf(arguments);
        pid_t process = 0;
        EXPECT_EQ(0, ::posix_spawn(&process, IPSECCFGCTL, &actions, nullptr, argv.data(), ::environ));
        posix_spawn_file_actions_destroy(&actions);
        const int exitCode = waitFor(process);
        return {exitCode, outFile == nullptr ? tests::contentsOf(out) : "",
                tests::contentsOf(folder_ / "err")};
    }

    static std::vector<char*> argumentsOf(std::vector<std::string>& arguments)
    {
        arguments.insert(arguments.begin(), "ipseccfgctl");
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        return argv;
    }

    /// Makes a script the server.
    void serverDoes(const std::string& script)
    {
        ::setenv("IPSECCFGSERVER", folder_.write("server", "#!/bin/sh\n" + script + "\n").c_str(), 1);
    }

    /// A server that keeps its request and answers.
    void serverAnswers(const std::string& answer)
    {
        folder_.write("answer", answer);
        serverDoes("cat > '" + (folder_ / "request") + "'\ncat '" + (folder_ / "answer") + "'");
    }

    std::string request() const { return tests::contentsOf(folder_ / "request"); }
    bool wasAsked() const { return ::access((folder_ / "request").c_str(), F_OK) == 0; }

    tests::Folder folder_;
    std::string policy_;
};

using Answers = Program;

TEST_F(Answers, OfSuccessArePrintedWithTheirDetail)
{
    serverAnswers(result("0", "the engine is ready"));
    const Ended start = run({"start", policy_});
    EXPECT_EQ(0, start.exitCode);
    EXPECT_EQ("started: the engine is ready\n", start.out);
    EXPECT_EQ("", start.err);
    EXPECT_EQ("restarted: the engine is ready\n", run({"restart", policy_}).out);
    EXPECT_EQ("shut down: the engine is ready\n", run({"shutdown"}).out);
}

TEST_F(Answers, OfFailureEndTheProgramWith1AndTheirDetail)
{
    serverAnswers(result("1", "the engine runs already"));
    const Ended start = run({"start", policy_});
    EXPECT_EQ(1, start.exitCode);
    EXPECT_EQ("", start.out);
    EXPECT_EQ("ipseccfgctl: start: refused by the server: the engine runs already\n", start.err);
    EXPECT_EQ("ipseccfgctl: shutdown: refused by the server: the engine runs already\n",
              run({"shutdown"}).err);
}

TEST_F(Answers, ThatAreFaultsAreFailures)
{
    serverAnswers(fault("no such method"));
    const Ended start = run({"start", policy_});
    EXPECT_EQ(1, start.exitCode);
    EXPECT_EQ("ipseccfgctl: start: refused by the server: Error rsp: no such method\n", start.err);
}

TEST_F(Answers, OfAnUnknownStatusAreFailures)
{
    serverAnswers(result("5", "half done"));
    const Ended start = run({"start", policy_});
    EXPECT_EQ(1, start.exitCode);
    EXPECT_EQ("ipseccfgctl: start: refused by the server: the server answered with the unknown status 5: "
              "half done\n",
              start.err);
    serverAnswers(result("5", ""));
    EXPECT_EQ("ipseccfgctl: start: refused by the server: the server answered with the unknown status 5\n",
              run({"start", policy_}).err);
}

TEST_F(Answers, ArePrintedWholeOnlyWithVerbose)
{
    serverAnswers(result("0", "fine"));
    EXPECT_EQ("started: fine\n", run({"start", policy_}).out);
    const Ended verbose = run({"start", "--verbose", policy_});
    EXPECT_THAT(verbose.out,
                AllOf(StartsWith("<?xml"), HasSubstr("<name>status</name>"), EndsWith("started: fine\n")));
}

TEST_F(Answers, ThatAreFaultsArePrintedWholeWithVerboseToo)
{
    serverAnswers(fault("no such method"));
    EXPECT_THAT(run({"start", "--verbose", policy_}).out, HasSubstr("<string>no such method</string>"));
}

// What no answer comes from, and what the message says about it.
struct Silence {
    const char* script;
    const char* error;
};

TEST_F(Answers, ThatAreNoneEndTheProgramWith3)
{
    const std::string result0 = result("0", "fine");
    const std::string half = "cat > /dev/null; printf '%s' '" + result0.substr(0, result0.size() / 2) + "'";
    const std::string empty = "cat > /dev/null; printf '%s' '" + response("") + "'";
    const std::string noNumber = "cat > /dev/null; printf '%s' '" + result("", "fine") + "'";
    const std::string noStatus = "cat > /dev/null; printf '%s' '" +
                                 response("<value><struct>" + member("table-id", "int", "4") +
                                          member("detail", "string", "fine") + "</struct></value>") +
                                 "'";
    const std::string otherTable = "cat > /dev/null; printf '%s' '" +
                                   response("<value><struct>" + member("table-id", "int", "3") +
                                            member("status", "int", "1") + "</struct></value>") +
                                   "'";
    const Silence silences[] = {{"exit 1", "Error to send\\.|Error to recv\\."},
                                {"cat > /dev/null", "Error to recv\\."},
                                {"kill -9 $$", "Error to send\\.|Error to recv\\."},
                                {"cat > /dev/null; echo garbage", "Error to recv\\."},
                                {half.c_str(), "Error to recv\\."},
                                {empty.c_str(), "the answer has no result"},
                                {noStatus.c_str(), "the answer has no result"},
                                {otherTable.c_str(), "the answer has no result"},
                                {noNumber.c_str(), "stoi"}};
    for (const Silence& silence : silences) {
        serverDoes(silence.script);
        const Ended start = run({"start", policy_});
        EXPECT_EQ(3, start.exitCode) << silence.script;
        EXPECT_EQ("", start.out) << silence.script;
        EXPECT_THAT(start.err,
                    testing::ContainsRegex("^ipseccfgctl: start: no answer from '" + (folder_ / "server") +
                                           "' after [0-9]+ s: (" + silence.error +
                                           ") \\(the system's log may say why\\)\n$"))
            << silence.script;
    }
}

TEST_F(Answers, OfAServerThatCannotBeStartedAreNone)
{
    const Ended start = run({"start", "--server", "/nonexistent/server", policy_});
    EXPECT_EQ(3, start.exitCode);
    EXPECT_EQ("", start.out);
    EXPECT_THAT(start.err,
                AllOf(StartsWith("ipseccfgctl: start: no server: "), HasSubstr("/nonexistent/server"),
                      Not(HasSubstr("CRequester")), HasSubstr("No such file or directory"),
                      EndsWith("; name the server's executable with --server or IPSECCFGSERVER\n")));
}

TEST_F(Answers, AreNoneWithoutAServerAlongThePath)
{
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", "/nonexistent", 1);
    const Ended start = run({"start", policy_});
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(3, start.exitCode);
    EXPECT_EQ("", start.out);
    EXPECT_EQ(
        "ipseccfgctl: start: no server: systemdataIPsecCfgServer is not along PATH; install it, or run this "
        "with 'sudo' if it is, or name its executable or its socket, /run/ipseccfg.sock say, with --server "
        "or "
        "IPSECCFGSERVER\n",
        start.err);
}

TEST_F(Answers, AreNoneWithoutTheSocketThatAListenerMakes)
{
    const Ended start = run({"start", "--server", folder_ / "server.sock", policy_});
    EXPECT_EQ(3, start.exitCode);
    EXPECT_THAT(start.err,
                AllOf(StartsWith("ipseccfgctl: start: no server: "), HasSubstr("No such file or directory"),
                      EndsWith("; nobody listens there: start its listener, 'systemctl enable --now "
                               "ipseccfg.socket' say\n")));
}

using Requests = Program;

std::string number(const std::string& name, const std::string& value)
{
    return "<name>" + name + "</name>\n            <value><int>" + value + "</int></value>";
}

TEST_F(Requests, AreWhatShowPrintsByteForByte)
{
    serverAnswers(result("0", ""));
    ASSERT_EQ(0, run({"start", policy_}).exitCode);
    const Ended show = run({"show", "--xml", "--secrets", policy_});
    EXPECT_EQ(0, show.exitCode);
    EXPECT_THAT(show.out, HasSubstr(KEY_ON_THE_WIRE));
    EXPECT_EQ(request(), show.out);
}

TEST_F(Requests, SayWhichScenarioTheyAskFor)
{
    serverAnswers(result("0", ""));
    run({"start", policy_});
    EXPECT_THAT(request(), HasSubstr(number("scenario", "1")));
    run({"restart", policy_});
    EXPECT_THAT(request(), AllOf(HasSubstr(number("scenario", "3")), HasSubstr(KEY_ON_THE_WIRE)));
    run({"shutdown"});
    EXPECT_THAT(request(), HasSubstr(number("scenario", "2")));
}

TEST_F(Requests, CarryTheSettingFileAndTheModeOfThePolicy)
{
    serverAnswers(result("0", ""));
    run({"start", folder_.write("fips.toml", tests::ENGINE + "fips = true\nnamespace = \"blue\"\n")});
    EXPECT_THAT(request(), AllOf(HasSubstr("<string>/run/engine.conf</string>"),
                                 HasSubstr(number("fips-mode", "1")), HasSubstr("<string>blue</string>")));
}

TEST_F(Requests, ForAShutdownCarryTheSettingFileAndTheModeOfTheCommandLine)
{
    serverAnswers(result("0", ""));
    run({"shutdown", "--setting-file", "/run/other.conf", "--fips"});
    EXPECT_THAT(request(),
                AllOf(HasSubstr("<string>/run/other.conf</string>"), HasSubstr(number("fips-mode", "1"))));
    run({"shutdown"});
    EXPECT_THAT(request(), AllOf(HasSubstr("<string></string>"), HasSubstr(number("fips-mode", "0"))));
}

TEST_F(Requests, GoToTheServerOfTheCommandLineBeforeThatOfTheEnvironment)
{
    serverAnswers(result("1", "the wrong one"));
    const std::string other = folder_.write("other", "#!/bin/sh\ncat > /dev/null\ncat <<END\n" +
                                                         result("0", "the right one") + "\nEND\n");
    EXPECT_EQ("started: the right one\n", run({"start", "--server", other, policy_}).out);
}

TEST_F(Requests, AreNotSentForAPolicyWithProblems)
{
    serverAnswers(result("0", ""));
    const std::string bad = folder_.write("bad.toml", "[engine]\nsetting-file = 5\n");
    for (const char* const command : {"start", "restart"}) {
        const Ended refused = run({command, bad});
        EXPECT_EQ(2, refused.exitCode);
        EXPECT_EQ("", refused.out);
        EXPECT_EQ(bad + ":2:16: engine.setting-file: must be an absolute path, not the integer 5\n" + bad +
                      ": 1 problem, nothing was sent\n",
                  refused.err);
    }
    EXPECT_FALSE(wasAsked());
}

TEST_F(Requests, AreNotSentByCheckOrShow)
{
    serverAnswers(result("0", ""));
    EXPECT_EQ(0, run({"check", policy_}).exitCode);
    EXPECT_EQ(0, run({"show", policy_}).exitCode);
    EXPECT_FALSE(wasAsked());
}

using Check = Program;

TEST_F(Check, SaysThatAGoodPolicyIsGood)
{
    const Ended check = run({"check", policy_});
    EXPECT_EQ(0, check.exitCode);
    EXPECT_EQ(policy_ + ": no problems\n", check.out);
    EXPECT_EQ("", check.err);
}

TEST_F(Check, PrintsProblemsInTheOrderOfTheirPlaces)
{
    const std::string bad = folder_.write("bad.toml", "[engine]\nsetting-file = 5\nfips = 1\n[other]\n");
    const Ended check = run({"check", bad});
    EXPECT_EQ(2, check.exitCode);
    EXPECT_EQ("", check.out);
    EXPECT_EQ(bad + ":2:16: engine.setting-file: must be an absolute path, not the integer 5\n" + bad +
                  ":3:8: engine.fips: must be true or false, not the integer 1\n" + bad +
                  ":4:2: other: is not a known key, only engine, phase1, phase2, rule, certificate\n" + bad +
                  ": 3 problems\n",
              check.err);
}

TEST_F(Check, PrintsASyntaxErrorWithItsPlace)
{
    const std::string bad = folder_.write("bad.toml", "[engine]\n[engine]\n");
    EXPECT_EQ(bad + ":2:1: Error while parsing table header: cannot redefine existing table 'engine'\n" +
                  bad + ": 1 problem\n",
              run({"check", bad}).err);
}

TEST_F(Check, NamesAFileThatCannotBeRead)
{
    const Ended check = run({"check", "/nonexistent/policy.toml"});
    EXPECT_EQ(2, check.exitCode);
    EXPECT_EQ("ipseccfgctl: check: cannot read '/nonexistent/policy.toml': No such file or directory; "
              "'ipseccfgctl init' writes a policy to begin with\n",
              check.err);
    EXPECT_EQ("ipseccfgctl: check: cannot read '/': Is a directory\n", run({"check", "/"}).err);
}

using Json = Program;

// What every object has, and nothing else.
void expectSchema(const json& object)
{
    ASSERT_TRUE(object.is_object());
    EXPECT_EQ(5U, object.size());
    EXPECT_EQ(1, object.at("schema"));
    EXPECT_TRUE(object.at("command").is_string());
    EXPECT_TRUE(object.at("status").is_string());
    EXPECT_TRUE(object.at("detail").is_string());
    EXPECT_TRUE(object.at("problems").is_array());
}

struct JsonRow {
    const char* answer;
    std::vector<std::string> arguments;
    int exitCode;
    const char* command;
    const char* status;
    const char* detail; // what it holds
};

TEST_F(Json, IsOneObjectOfTheSameShapeForEveryEnd)
{
    const std::string success = result("0", "ready");
    const std::string failure = result("1", "running");
    const JsonRow rows[] = {
        {success.c_str(), {"start", "--json", policy_}, 0, "start", "success", "ready"},
        {success.c_str(), {"--json", "restart", policy_}, 0, "restart", "success", "ready"},
        {failure.c_str(), {"shutdown", "--json"}, 1, "shutdown", "failure", "running"},
        {"garbage", {"start", "--json", policy_}, 3, "start", "no-answer", "Error to recv."},
        {"",
         {"start", "--json", "--server", "/nonexistent", policy_},
         3,
         "start",
         "no-answer",
         "/nonexistent"},
        {"", {"check", "--json", policy_}, 0, "check", "success", "no problems"},
        {"", {"show", "--json", policy_}, 0, "show", "success", "Phase 1"},
        {"", {"check", "--json", "/nonexistent"}, 2, "check", "invalid", "cannot read '/nonexistent'"},
        {"", {"start", "--json"}, 2, "start", "invalid", "POLICY is required"},
        {"", {"--json"}, 2, "", "invalid", "a command is needed"},
    };
    for (const JsonRow& row : rows) {
        serverAnswers(row.answer);
        const Ended ended = run(row.arguments);
        EXPECT_EQ(row.exitCode, ended.exitCode) << ended.out;
        EXPECT_EQ("", ended.err);
        const json object = json::parse(ended.out);
        expectSchema(object);
        EXPECT_EQ(row.command, object.at("command"));
        EXPECT_EQ(row.status, object.at("status"));
        EXPECT_THAT(object.at("detail").get<std::string>(), HasSubstr(row.detail));
        EXPECT_THAT(object.at("problems"), IsEmpty());
    }
}

TEST_F(Json, ListsTheProblemsOfAPolicy)
{
    const std::string file = folder_.write("bad.toml", "[engine]\nsetting-file = 5\n");
    const Ended check = run({"check", "--json", file});
    EXPECT_EQ(2, check.exitCode);
    EXPECT_EQ("", check.err);
    const json object = json::parse(check.out);
    expectSchema(object);
    EXPECT_EQ("invalid", object.at("status"));
    EXPECT_EQ(json::array({{{"file", file},
                            {"line", 2},
                            {"column", 16},
                            {"key", "engine.setting-file"},
                            {"message", "must be an absolute path, not the integer 5"}}}),
              object.at("problems"));
}

using Secrets = Program;

void expectNoKey(const Ended& ended)
{
    for (const std::string& text : {ended.out, ended.err}) {
        EXPECT_THAT(text, Not(HasSubstr(KEY)));
        EXPECT_THAT(text, Not(HasSubstr(KEY_ON_THE_WIRE)));
    }
}

TEST_F(Secrets, ArePrintedByNoCommandUnlessAskedTo)
{
    serverAnswers(result("0", "fine"));
    const std::string keyFile = folder_.write("key", KEY + "\n");
    const std::string other = folder_.write(
        "other.toml", tests::withTransformAnd("authentication = \"PSK\"\npsk-file = \"" + keyFile + "\"\n"));
    for (const std::string& policy : {policy_, other})
        for (const char* const command : {"start", "restart", "check", "show"})
            for (const char* const option : {"--verbose", "--json"}) {
                const Ended ended = run({command, policy, option});
                EXPECT_EQ(0, ended.exitCode);
                expectNoKey(ended);
            }
    expectNoKey(run({"show", "--xml", policy_}));
    expectNoKey(run({"show", "--xml", "--json", other}));
}

TEST_F(Secrets, ArePrintedIfAskedTo)
{
    EXPECT_THAT(run({"show", "--secrets", policy_}).out, HasSubstr("PSK " + KEY));
    EXPECT_THAT(run({"show", "--secrets", "--xml", policy_}).out, HasSubstr("0x" + KEY_ON_THE_WIRE + "<"));
}

TEST_F(Secrets, AreMaskedWhateverTheirLength)
{
    const std::string longKey =
        folder_.write("long.toml", tests::withTransformAnd("authentication = \"PSK\"\npsk = \"" +
                                                           std::string(1000, 'k') + "\"\n"));
    EXPECT_THAT(run({"show", policy_}).out, HasSubstr("PSK ********, "));
    EXPECT_EQ(run({"show", policy_}).out, run({"show", longKey}).out);
    EXPECT_EQ(run({"show", "--xml", policy_}).out, run({"show", "--xml", longKey}).out);
}

TEST_F(Secrets, AreNotPrintedWithTheProblemsOfTheirPolicy)
{
    for (const char* const lines :
         {"psk = \"sesame-2718\"\n", "authentication = \"PSK\"\npsk = \"sesame-2718\\u0001\"\n",
          "authentication = \"PSK\"\npsk = [\"sesame-2718\"]\n",
          "authentication = \"PSK\"\npsk = sesame-2718\n", "authentication = \"PSK\"\npsk = \"sesame-2718\n",
          "authentication = \"PSK\"\npsk = 'sesame-2718' 5\n"}) {
        const Ended check = run({"check", folder_.write("bad.toml", tests::withTransformAnd(lines))});
        EXPECT_EQ(2, check.exitCode) << lines;
        EXPECT_THAT(check.err, Not(HasSubstr("sesame"))) << lines;
    }
}

TEST_F(Program, TellsItsVersion)
{
    const Ended version = run({"--version"});
    EXPECT_EQ(0, version.exitCode);
    EXPECT_EQ("ipseccfgctl " PROJECT_VERSION "\n", version.out);
}

TEST_F(Program, EndsWith2AndAHintIfItIsCalledWrongly)
{
    const Ended wrong = run({"start"});
    EXPECT_EQ(2, wrong.exitCode);
    EXPECT_EQ("", wrong.out);
    EXPECT_EQ("ipseccfgctl: start: POLICY is required\nTry 'ipseccfgctl start --help'.\n", wrong.err);
}

TEST_F(Program, SaysIfItsOutputIsLost)
{
    const Ended show = run({"show", policy_}, "/dev/full");
    EXPECT_EQ(3, show.exitCode);
    EXPECT_EQ("ipseccfgctl: cannot write to standard output\n", show.err);
}

TEST_F(Program, LeavesNoServerBehind)
{
    serverDoes("echo $$ > '" + (folder_ / "pid") + "'\ncat > /dev/null\ncat <<END\n" + result("0", "") +
               "\nEND\nexec sleep 60");
    EXPECT_EQ(0, run({"start", policy_}).exitCode);
    EXPECT_EQ(-1, ::kill(std::stoi(tests::contentsOf(folder_ / "pid")), 0));
    EXPECT_EQ(ESRCH, errno);
}

// The program on a terminal of its own, as a user has it.
class Terminal : public Program {
protected:
    void TearDown() override
    {
        if (terminal_ >= 0)
            ::close(terminal_);
        Program::TearDown();
    }

    /// @param aside a descriptor, if any, that is a new file's instead
    void begin(std::vector<std::string> arguments, int aside = -1)
    {
        std::vector<char*> argv = argumentsOf(arguments);
        program_ = ::forkpty(&terminal_, nullptr, nullptr, nullptr);
        ASSERT_GE(program_, 0);
        if (program_ == 0) {
            static_cast<void>(std::signal(SIGINT, SIG_DFL)); // which a shell lets its background jobs ignore
            if (aside >= 0)
                ::dup2(::open(file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), aside);
            ::execv(IPSECCFGCTL, argv.data());
            ::_exit(127);
        }
    }

    /// Reads from the terminal until it has shown a text, or, without one, until the program is gone.
    void readUntil(const std::string& text)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (text.empty() || shown_.find(text) == std::string::npos) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << shown_;
            pollfd readable{terminal_, POLLIN, 0};
            ::poll(&readable, 1, 1000);
            char buffer[256];
            const ssize_t count = readable.revents == 0 ? 0 : ::read(terminal_, buffer, sizeof(buffer));
            if (count < 0) // EIO: nobody has the terminal open any more
                return;
            shown_.append(buffer, static_cast<std::size_t>(count));
        }
    }

    const std::string file_ = folder_ / "aside";
    int terminal_ = -1;
    pid_t program_ = -1;
    std::string shown_;
};

TEST_F(Terminal, ShowsTheElapsedTimeUntilTheAnswerIsThere)
{
    const std::string gate = folder_ / "gate";
    ASSERT_EQ(0, ::mkfifo(gate.c_str(), 0600));
    serverDoes("cat > /dev/null\nread line < '" + gate + "'\ncat <<END\n" + result("0", "fine") + "\nEND");
    begin({"start", policy_});
    readUntil("waiting for the server, 2 s");
    std::ofstream(gate) << "go\n";
    readUntil("");
    EXPECT_EQ(0, waitFor(program_));
    EXPECT_EQ(
        "\r\x1b[Kwaiting for the server, 1 s\r\x1b[Kwaiting for the server, 2 s\r\x1b[Kstarted: fine\r\n",
        shown_);
}

TEST_F(Terminal, ShowsNoElapsedTimeForAnAnswerThatComesAtOnce)
{
    serverAnswers(result("0", "fine"));
    begin({"start", policy_});
    readUntil("");
    EXPECT_EQ(0, waitFor(program_));
    EXPECT_EQ("started: fine\r\n", shown_);
}

// The environment as a user's terminal has it.
class Colours : public Terminal {
protected:
    void SetUp() override
    {
        Terminal::SetUp();
        ::setenv("TERM", "xterm", 1);
        ::unsetenv("NO_COLOR");
    }

    std::string shownBy(const std::vector<std::string>& arguments, int aside = -1)
    {
        shown_.clear();
        begin(arguments, aside);
        readUntil("");
        waitFor(program_);
        ::close(terminal_);
        terminal_ = -1;
        return shown_;
    }

    std::string newPolicy_ = folder_.write("new.toml", tests::ENGINE + "fips = true\n");
    std::string oldPolicy_ = folder_.write("old.toml", tests::ENGINE);
    std::string badPolicy_ = folder_.write("bad.toml", "[engine]\nsetting-file = 5\n");
};

TEST_F(Colours, AreShownOnATerminal)
{
    EXPECT_EQ("\x1b[33m~ engine, fips\x1b[0m: false\r\n  now true\r\n",
              shownBy({"diff", oldPolicy_, newPolicy_}));
    EXPECT_EQ("\x1b[31mipseccfgctl:\x1b[0m diff: NEW is required\r\nTry 'ipseccfgctl diff --help'.\r\n",
              shownBy({"diff", oldPolicy_}));
    EXPECT_EQ("\x1b[1m" + badPolicy_ +
                  ":2:16:\x1b[0m engine.setting-file: must be an absolute path, not the integer 5\r\n" +
                  badPolicy_ + ": \x1b[31m1 problem\x1b[0m\r\n",
              shownBy({"check", badPolicy_}));
}

TEST_F(Colours, AreShownOnlyWhereThereIsATerminal)
{
    EXPECT_EQ("", shownBy({"diff", oldPolicy_, newPolicy_}, STDOUT_FILENO));
    EXPECT_EQ("~ engine, fips: false\n  now true\n", tests::contentsOf(file_));
    EXPECT_EQ("\x1b[33m~ engine, fips\x1b[0m: false\r\n  now true\r\n",
              shownBy({"diff", oldPolicy_, newPolicy_}, STDERR_FILENO));

    EXPECT_EQ("", shownBy({"diff", oldPolicy_}, STDERR_FILENO));
    EXPECT_EQ("ipseccfgctl: diff: NEW is required\nTry 'ipseccfgctl diff --help'.\n",
              tests::contentsOf(file_));
    EXPECT_EQ("\x1b[31mipseccfgctl:\x1b[0m diff: NEW is required\r\nTry 'ipseccfgctl diff --help'.\r\n",
              shownBy({"diff", oldPolicy_}, STDOUT_FILENO));
}

TEST_F(Colours, AreNotShownToWhoDoesNotWantOrHaveThem)
{
    const std::string plain = "~ engine, fips: false\r\n  now true\r\n";
    ::setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(plain, shownBy({"diff", oldPolicy_, newPolicy_}));
    ::unsetenv("NO_COLOR");
    for (const char* const terminal : {"dumb", ""}) {
        ::setenv("TERM", terminal, 1);
        EXPECT_EQ(plain, shownBy({"diff", oldPolicy_, newPolicy_}));
    }
}

TEST_F(Colours, AreNotWrittenToFiles)
{
    EXPECT_EQ("~ engine, fips: false\n  now true\n", run({"diff", oldPolicy_, newPolicy_}).out);
    EXPECT_EQ(std::string::npos, run({"check", badPolicy_}).err.find('\x1b'));
}

TEST_F(Colours, AreNoPartOfJson)
{
    EXPECT_EQ(std::string::npos, shownBy({"diff", "--json", oldPolicy_, newPolicy_}).find('\x1b'));
}

// Whether a process is gone; one that nobody has waited for yet is.
bool isGone(pid_t process)
{
    const std::string status = tests::contentsOf("/proc/" + std::to_string(process) + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
}

TEST_F(Terminal, EndsBothProgramAndServerByAnInterrupt)
{
    const std::string gate = folder_ / "gate";
    ASSERT_EQ(0, ::mkfifo(gate.c_str(), 0600));
    serverDoes("echo $$ > '" + gate + "'\nexec sleep 60");
    begin({"start", policy_});
    pid_t server = 0;
    std::ifstream(gate) >> server;
    ASSERT_GT(server, 0);
    ASSERT_EQ(1, ::write(terminal_, "\x03", 1));
    readUntil("");
    EXPECT_EQ(-SIGINT, waitFor(program_));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!isGone(server) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_TRUE(isGone(server));
}

} // namespace
