// The policy file: from TOML to a policy.

#include "PolicyFile.h"

#include "FileText.h"
#include "PhaseReader.h"
#include "PolicyKeys.h"
#include "PolicyTable.h"
#include "RuleReader.h"
#include "Text.h"
#include "Values.h"
#include "Wording.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::Certificate;
using common::FilterRule;

constexpr std::size_t LARGEST_FILE = 16777216;
// Each dot of a dotted key is a level, and the TOML parser frees levels by recursion.
constexpr std::size_t LONGEST_LINE = 16384;

// The absolute path behind a key; empty, and reported, if it is none.
std::string absolutePath(const PolicyTable& table, const std::string& key)
{
    const auto path = table.text(key);
    if (!path)
        return std::string();
    if (!isAbsolutePath(*path)) {
        table.refuseValue(key, quoted(*path));
        return std::string();
    }
    return *path;
}

// Reports a file that is not there. One that the caller may not look at is left to the server, which may.
void checkFile(const PolicyTable& table, const std::string& key, const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode))
            table.refuse(key, quoted(path) + " is a directory, must be a file");
    } else if (errno != EACCES) {
        table.refuse(key,
                     quoted(path) + " is not there (" + programs::systemText(errno) + "), must be a file");
    }
}

void readEngine(const PolicyTable& engine, Policy& policy)
{
    policy.settingFile = absolutePath(engine, "setting-file");
    policy.fipsMode = engine.flag("fips");
    std::string name = engine.text("namespace").value_or("");
    if (!name.empty() && !isNamespaceName(name))
        engine.refuseValue("namespace", quoted(name));
    policy.store.setNsName(name);
}

common::CertificatePtr readCertificate(const PolicyTable& table)
{
    const auto kind = table.number("kind");
    if (kind == Certificate::EndEntity && !table.has("private-key"))
        table.refuse("private-key",
                     std::string("is missing, must be ") + ABSOLUTE_PATH + " for kind 'end-entity'");
    const std::string certificate = absolutePath(table, "certificate");
    const std::string privateKey = absolutePath(table, "private-key");
    if (!certificate.empty())
        checkFile(table, "certificate", certificate);
    if (!privateKey.empty())
        checkFile(table, "private-key", privateKey);
    return common::createCertificate(static_cast<Certificate::Kind>(kind.value_or(Certificate::None)),
                                     certificate, privateKey);
}

// A signature is made with the key of an end entity's certificate. One whose kind was refused may have been
// meant.
void checkSignatures(const std::vector<PolicyTable>& signatures, const std::vector<PolicyTable>& certificates)
{
    const bool possible =
        std::any_of(certificates.begin(), certificates.end(), [](const PolicyTable& certificate) {
            return certificate.number("kind").value_or(Certificate::EndEntity) == Certificate::EndEntity;
        });
    if (!signatures.empty() && !possible)
        signatures.front().refuse("authentication", "'RSA_SIG' needs a certificate of kind 'end-entity'");
}

// Traffic is protected with what both phases propose. A phase that is there but empty is reported where it
// stands.
void checkProtection(const PolicyTable& file, const std::vector<PolicyTable>& rules)
{
    const auto first = std::find_if(rules.begin(), rules.end(), [](const PolicyTable& rule) {
        return rule.number("action") == FilterRule::Use;
    });
    if (first == rules.end())
        return;
    for (const char* const phase : {"phase1", "phase2"})
        if (!file.has(phase))
            first->refuse("action", std::string("'use' needs at least one proposal in ") + phase +
                                        ", which is missing");
}

void addRules(const common::FilterSet& rules, const Problems& problems, Policy& policy)
{
    // Among rules that were refused may be twins, which the store refuses.
    if (!problems.empty())
        return;
    for (const common::FilterRulePtr& rule : rules) {
        if (rule->getFilterType() == FilterRule::Use)
            policy.store.addFilter(rule);
        else
            policy.defaultRules.push_back(rule);
    }
}

void readPolicy(const toml::table& document, Policy& policy, Problems& problems)
{
    const PolicyTable file(document, "", POLICY_KEYS, problems);
    if (const auto engine = file.table("engine", ENGINE_KEYS))
        readEngine(*engine, policy);

    Phase phase1 = readPhase(file.table("phase1", PHASE_KEYS));
    const Phase phase2 = readPhase(file.table("phase2", PHASE_KEYS));
    policy.store.setPhase1SA(phase1.association);
    policy.store.setPhase2SA(phase2.association);
    phase1.signatures.insert(phase1.signatures.end(), phase2.signatures.begin(), phase2.signatures.end());

    const std::vector<PolicyTable> certificates = file.tables("certificate", CERTIFICATE_KEYS);
    for (const PolicyTable& certificate : certificates)
        policy.certificates.push_back(readCertificate(certificate));
    checkSignatures(phase1.signatures, certificates);

    const std::vector<PolicyTable> rules = file.tables("rule", RULE_KEYS);
    checkProtection(file, rules);
    addRules(readRules(rules), problems, policy);
}

// The text with everything in quotes blotted out.
std::string withoutQuotations(const std::string& text)
{
    std::string result;
    bool quotation = false;
    for (const char character : text) {
        if (!quotation || character == '\'')
            result += character;
        if (character == '\'') {
            quotation = !quotation;
            result += quotation ? "..." : "";
        }
    }
    return result;
}

std::string lineOf(const std::string& text, std::size_t number)
{
    std::istringstream stream(text);
    std::string line;
    for (std::size_t i = 0; i < number; ++i)
        std::getline(stream, line);
    return line;
}

// The parser's messages quote what they stumble over, which may be a piece of a key.
Problem syntaxProblem(const toml::parse_error& error, const std::string& text)
{
    const Position position{error.source().begin.line, error.source().begin.column};
    const std::string message(error.description());
    const bool secret = lineOf(text, position.line).find("psk") != std::string::npos ||
                        message.find("string") != std::string::npos;
    return {position, "", programs::printable(secret ? withoutQuotations(message) : message)};
}

std::optional<Problem> longLine(const std::string& text)
{
    std::size_t number = 1;
    for (std::size_t begin = 0; begin < text.size(); ++number) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end - begin > LONGEST_LINE)
            return Problem{
                {number, 1}, "", "the line is longer than " + std::to_string(LONGEST_LINE) + " bytes"};
        begin = end + 1;
    }
    return std::nullopt;
}

} // namespace

PolicyReading readPolicyText(const std::string& text)
{
    if (const auto problem = longLine(text))
        return {std::nullopt, {*problem}};
    PolicyReading reading;
    Policy policy;
    try {
        readPolicy(toml::parse(std::string_view(text)), policy, reading.problems);
    } catch (const toml::parse_error& error) {
        reading.problems.push_back(syntaxProblem(error, text));
    }
    if (reading.problems.empty())
        reading.policy = std::move(policy);
    reading.problems = sorted(std::move(reading.problems));
    return reading;
}

PolicyReading readPolicyFile(const std::string& path)
{
    std::string text;
    try {
        text = programs::readFile(path, LARGEST_FILE);
    } catch (const std::runtime_error& error) {
        const bool missing = ::access(path.c_str(), F_OK) != 0;
        throw std::runtime_error("cannot read " + quoted(path) + ": " + error.what() +
                                 (missing ? "; 'ipseccfgctl init' writes a policy to begin with" : ""));
    }
    PolicyReading reading = readPolicyText(text);
    for (Problem& problem : reading.problems)
        problem.file = path;
    return reading;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
