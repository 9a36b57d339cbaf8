// What the user gets to see.

#include "Report.h"

#include "StatusView.h"
#include "Text.h"
#include "Wording.h"

#include <map>
#include <nlohmann/json.hpp>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using nlohmann::ordered_json;

constexpr int JSON_SCHEMA = 1;
constexpr int JSON_INDENTATION = 2;

ordered_json toJson(const Problems& problems)
{
    ordered_json array = ordered_json::array();
    for (const Problem& problem : problems)
        array.push_back({{"file", problem.file},
                         {"line", problem.position.line},
                         {"column", problem.position.column},
                         {"key", problem.key},
                         {"message", problem.message}});
    return array;
}

ordered_json toJson(const std::vector<RuleStatus>& rules)
{
    ordered_json array = ordered_json::array();
    for (const RuleStatus& rule : rules) {
        array.push_back({{"action", rule.action},
                         {"source", rule.source},
                         {"destination", rule.destination},
                         {"priority", rule.priority},
                         {"state", rule.state},
                         {"reason", rule.reason}});
        if (rule.tunnel)
            array.back().update({{"peer", rule.tunnel->peer},
                                 {"suite", rule.tunnel->suite},
                                 {"bytes-in", rule.tunnel->bytesIn},
                                 {"bytes-out", rule.tunnel->bytesOut},
                                 {"packets-in", rule.tunnel->packetsIn},
                                 {"packets-out", rule.tunnel->packetsOut},
                                 {"rekey-seconds", rule.tunnel->rekeySeconds}});
    }
    return array;
}

ordered_json toJson(const Differences& differences)
{
    ordered_json array = ordered_json::array();
    for (const Difference& difference : differences)
        array.push_back({{"change", nameOf(difference.change)},
                         {"what", difference.what},
                         {"before", difference.before},
                         {"after", difference.after}});
    return array;
}

void printJson(const std::string& command, const Outcome& outcome, std::ostream& out)
{
    ordered_json object = {{"schema", JSON_SCHEMA},
                           {"command", command},
                           {"status", nameOf(outcome.status)},
                           {"detail", outcome.detail},
                           {"problems", toJson(outcome.problems)}};
    if (outcome.rules)
        object["rules"] = toJson(*outcome.rules);
    if (outcome.differences)
        object["differences"] = toJson(*outcome.differences);
    // In ASCII, so that no text of others does anything to a terminal. A file's name may be anything but UTF-8.
    out << object.dump(JSON_INDENTATION, ' ', true, ordered_json::error_handler_t::replace) << "\n";
}

// XML of the same meaning without the characters that a terminal obeys and XML may hold as they are: U+007F to
// U+009F, of which all but the first are two bytes in UTF-8.
std::string harmlessXml(const std::string& xml)
{
    const auto reference = [](unsigned number) {
        constexpr char DIGITS[] = "0123456789ABCDEF";
        return std::string("&#x") + DIGITS[number >> 4U] + DIGITS[number & 0x0FU] + ";";
    };
    std::string text;
    for (std::size_t i = 0; i < xml.size(); ++i) {
        const auto byte = static_cast<unsigned char>(xml[i]);
        const auto next = static_cast<unsigned char>(i + 1 < xml.size() ? xml[i + 1] : '\0');
        if (byte == 0x7F) {
            text += reference(byte);
        } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
            text += reference(next);
            ++i;
        } else {
            text += xml[i];
        }
    }
    return text;
}

void printProblems(const Outcome& outcome, const Options& options, std::ostream& err, bool colours)
{
    const bool toSend = options.command == Command::Start || options.command == Command::Restart;
    std::map<std::string, std::size_t> counts;
    for (const Problem& problem : outcome.problems) {
        const std::string file = programs::printable(problem.file);
        ++counts[file];
        err << painted(colours, Colour::Bold,
                       file + ":" + std::to_string(problem.position.line) + ":" +
                           std::to_string(problem.position.column) + ":")
            << " " << (problem.key.empty() ? "" : problem.key + ": ") << problem.message << "\n";
    }
    for (const auto& [file, count] : counts)
        err << file << ": " << painted(colours, Colour::Red, counted(count, "problem"))
            << (toSend ? ", nothing was sent" : "") << "\n";
}

// What a success of a command is called, and what the server of this system says if it has no more to say.
struct SuccessFacts {
    Command command;
    const char* text;
    const char* detail;
};
constexpr SuccessFacts SUCCESS_FACTS[] = {
    {Command::Start, "started", "the engine was started"},
    {Command::Restart, "restarted", "the engine took over the new settings"},
    {Command::Shutdown, "shut down", "the engine was shut down"},
};

std::string successText(Command command, const std::string& detail)
{
    for (const SuccessFacts& facts : SUCCESS_FACTS)
        if (facts.command == command)
            return facts.text +
                   (detail.empty() || detail == facts.detail ? "" : ": " + programs::printable(detail));
    return programs::printable(detail);
}

void printSuccess(const Outcome& outcome, const Options& options, std::ostream& out)
{
    if (options.command == Command::Show || (options.command == Command::Init && options.policyFile == "-"))
        out << (options.xml ? harmlessXml(outcome.detail) : outcome.detail);
    else if (options.command == Command::Diff || options.command == Command::Init)
        out << programs::printable(outcome.detail) << "\n";
    else if (options.command == Command::Status)
        out << programs::printable(outcome.detail) << "\n"
            << viewOf(outcome.rules.value_or(std::vector<RuleStatus>()));
    else if (options.command == Command::Check)
        out << programs::printable(options.policyFile) << ": " << outcome.detail << "\n";
    else
        out << successText(options.command, outcome.detail) << "\n";
}

// What to do next about what the server said.
struct Advice {
    const char* detail;
    const char* text;
};
constexpr Advice ADVICE[] = {
    {"the engine is already running", "; 'ipseccfgctl restart POLICY' makes it take over another policy"},
    {"the engine is not running", "; 'ipseccfgctl start POLICY' starts it"},
};

std::string adviceFor(const std::string& detail, Command command)
{
    if (command == Command::Shutdown)
        return "";
    for (const Advice& advice : ADVICE)
        if (detail == advice.detail)
            return advice.text;
    return "";
}

std::string errorPrefix(const std::string& command, bool colours)
{
    return painted(colours, Colour::Red, "ipseccfgctl:") + " " + (command.empty() ? "" : command + ": ");
}

void printForPeople(const Outcome& outcome, const Options& options, std::ostream& out, std::ostream& err,
                    const Colours& colours)
{
    if (outcome.status == Status::Success)
        printSuccess(outcome, options, out);
    else if (outcome.differences)
        out << viewOf(*outcome.differences, colours.out);
    else if (!outcome.problems.empty())
        printProblems(outcome, options, err, colours.err);
    else
        err << errorPrefix(nameOf(options.command), colours.err)
            << (outcome.status == Status::Failure && options.command != Command::Status
                    ? "refused by the server: "
                    : "")
            << programs::printable(outcome.detail) << adviceFor(outcome.detail, options.command) << "\n";
}

} // namespace

void report(const Outcome& outcome, const Options& options, std::ostream& out, std::ostream& err,
            const Colours& colours)
{
    if (options.verbose)
        (options.json ? err : out) << harmlessXml(outcome.response);
    if (options.json)
        printJson(nameOf(options.command), outcome, out);
    else
        printForPeople(outcome, options, out, err, colours);
}

Status report(const CommandLine& line, std::ostream& out, std::ostream& err, const Colours& colours)
{
    if (!line.isError) {
        out << line.text;
        return Status::Success;
    }
    if (line.json)
        printJson(line.command, {Status::Invalid, line.text, {}, {}}, out);
    else
        err << errorPrefix(line.command, colours.err) << line.text << "\nTry 'ipseccfgctl "
            << (line.command.empty() ? "" : line.command + " ") << "--help'.\n";
    return Status::Invalid;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
