#ifndef TESTS_CLIENT_SUPPORT_H
#define TESTS_CLIENT_SUPPORT_H

// What the tests of the client share: a folder for files, and pieces of policies.

#include "PolicyFile.h"
#include "Report.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tests {

/// A folder of a test's own, gone after it.
class Folder {
public:
    Folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "ipseccfg-client-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no folder for the test");
        path_ = name;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string path() const { return path_.string(); }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

    /// Writes a file that its owner alone may read, write and run, and gives its path.
    std::string write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path_ / name, std::ios::binary) << text;
        std::filesystem::permissions(path_ / name, std::filesystem::perms::owner_all);
        return *this / name;
    }

private:
    std::filesystem::path path_;
};

inline std::string contentsOf(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// What a run of the client prints.
struct Printed {
    std::string out;
    std::string err;
};

inline Printed printed(const norvale::tamber::systemdata::ipseccfg::client::Outcome& outcome,
                       const norvale::tamber::systemdata::ipseccfg::client::Options& options)
{
    std::ostringstream out;
    std::ostringstream err;
    report(outcome, options, out, err);
    return {out.str(), err.str()};
}

/// The problems of a policy, each as it is printed after the file's name: "LINE:COLUMN: key: message".
inline std::vector<std::string> problemsOf(const std::string& policy)
{
    std::vector<std::string> lines;
    for (const auto& problem : norvale::tamber::systemdata::ipseccfg::client::readPolicyText(policy).problems)
        lines.push_back(std::to_string(problem.position.line) + ":" +
                        std::to_string(problem.position.column) + ": " + problem.key + ": " +
                        problem.message);
    return lines;
}

/// What a policy without a problem holds.
inline norvale::tamber::systemdata::ipseccfg::client::Policy policyOf(const std::string& text)
{
    EXPECT_EQ(std::vector<std::string>{}, problemsOf(text));
    return norvale::tamber::systemdata::ipseccfg::client::readPolicyText(text).policy.value();
}

/// The first two lines of a policy.
inline const std::string ENGINE = "[engine]\n"
                                  "setting-file = \"/run/engine.conf\"\n";

/// Line 3 of a policy and on: both phases with a proposal of one transform, 16 lines.
inline const std::string PHASES = "[[phase1.proposal]]\n"
                                  "id = 1\n"
                                  "[[phase1.proposal.transform]]\n"
                                  "id = 1\n"
                                  "encryption = \"AES\"\n"
                                  "key-length = 256\n"
                                  "hash = \"SHA256\"\n"
                                  "lifetime = 28800\n"
                                  "[[phase2.proposal]]\n"
                                  "id = 1\n"
                                  "[[phase2.proposal.transform]]\n"
                                  "id = 1\n"
                                  "encryption = \"AES\"\n"
                                  "key-length = 256\n"
                                  "hash = \"SHA256\"\n"
                                  "lifetime = 3600\n";

/// A policy with one transform; its own lines begin with line 6.
inline std::string withTransform(const std::string& lines)
{
    return ENGINE + "[[phase1.proposal]]\nid = 1\n[[phase1.proposal.transform]]\n" + lines;
}

/// The same with the lines that every transform needs, 6 to 10; further ones begin with line 11.
inline std::string withTransformAnd(const std::string& lines)
{
    return withTransform(
        "id = 1\nencryption = \"AES\"\nkey-length = 256\nhash = \"SHA256\"\nlifetime = 3600\n" + lines);
}

/// A policy with one rule; its own lines begin with line 4.
inline std::string withRule(const std::string& lines)
{
    return ENGINE + "[[rule]]\n" + lines;
}

/// The same with the lines that every rule needs, 4 to 7; further ones begin with line 8.
inline std::string withRuleAnd(const std::string& lines)
{
    return withRule(
        "action = \"bypass\"\nsource = \"192.0.2.1\"\ndestination = \"192.0.2.2\"\npriority = 1\n" + lines);
}

} // namespace tests

#endif
