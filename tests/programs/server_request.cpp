// The bounds of a request, and what is accepted of it.

#include "CArrayParser.h"
#include "Exceptions.h"
#include "PayloadBuilder.h"
#include "Request.h"
#include "RequestStream.h"

#include "server_support.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace norvale::tamber::systemdata::ipseccfg::common;
using namespace std::chrono_literals;
using tests::RequestParts;

// A pipe with a text in it.
class Pipe {
public:
    explicit Pipe(const std::string& text = "")
    {
        EXPECT_EQ(0, pipe2(ends_.data(), O_CLOEXEC));
        put(text);
    }
    ~Pipe()
    {
        end();
        close(ends_[0]);
    }
    void put(const std::string& text)
    {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), write(ends_[1], text.data(), text.size()));
    }
    void end()
    {
        if (ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }
    int output() const { return ends_[0]; }

private:
    std::array<int, 2> ends_ = {};
};

std::string contentOf(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

TEST(ServerRequestStream, GivesEverythingUpToTheEnd)
{
    Pipe pipe("request");
    pipe.end();
    RequestStream stream(pipe.output(), 100, 10s);
    EXPECT_EQ("request", contentOf(stream));
    EXPECT_EQ("", stream.problem());
}

TEST(ServerRequestStream, GivesARequestThatIsExactlyAsLargeAsTheBound)
{
    Pipe pipe("request");
    pipe.end();
    RequestStream stream(pipe.output(), 7, 10s);
    EXPECT_EQ("request", contentOf(stream));
    EXPECT_EQ("", stream.problem());
}

TEST(ServerRequestStream, EndsAtTheBoundAndSaysSo)
{
    Pipe pipe("request!");
    RequestStream stream(pipe.output(), 7, 10s);
    EXPECT_EQ("request", contentOf(stream));
    EXPECT_EQ("the request is larger than 7 bytes", stream.problem());
}

TEST(ServerRequestStream, DoesNotMindWhatNobodyAsksFor)
{
    Pipe pipe("request and more");
    RequestStream stream(pipe.output(), 7, 10s);
    std::string text(7, ' ');
    stream.read(text.data(), 7);
    EXPECT_EQ("request", text);
    EXPECT_EQ("", stream.problem());
}

TEST(ServerRequestStream, CrossesItsBuffer)
{
    const std::string text(40000, 'x');
    Pipe pipe(text);
    pipe.end();
    RequestStream stream(pipe.output(), 40000, 10s);
    EXPECT_EQ(text, contentOf(stream));
    EXPECT_EQ("", stream.problem());
}

TEST(ServerRequestStream, EndsWhenTheTimeIsUpAndSaysSo)
{
    const Pipe pipe("half");
    RequestStream stream(pipe.output(), 100, 1000ms);
    EXPECT_EQ("half", contentOf(stream));
    EXPECT_EQ("the request did not arrive within 1 seconds", stream.problem());
}

TEST(ServerRequestStream, CountsTheTimeOfTheWholeRequestNotOfEachByte)
{
    Pipe pipe;
    RequestStream stream(pipe.output(), 1000, 200ms);
    std::atomic<bool> stop{false};
    std::thread trickle([&] {
        while (!stop) {
            pipe.put("x");
            std::this_thread::sleep_for(5ms);
        }
    });
    const auto start = std::chrono::steady_clock::now();
    const std::string text = contentOf(stream);
    stop = true;
    trickle.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_LT(text.size(), 1000U);
    EXPECT_EQ("the request did not arrive within 0 seconds", stream.problem());
}

TEST(ServerRequestStream, WaitsForANonBlockingSender)
{
    Pipe pipe;
    fcntl(pipe.output(), F_SETFL, O_NONBLOCK);
    RequestStream stream(pipe.output(), 100, 10s);
    std::thread sender([&] {
        pipe.put("late");
        pipe.end();
    });
    EXPECT_EQ("late", contentOf(stream));
    sender.join();
    EXPECT_EQ("", stream.problem());
}

TEST(ServerRequestStream, SaysWhyItCannotRead)
{
    const int folder = open("/", O_RDONLY | O_CLOEXEC);
    RequestStream stream(folder, 100, 10s);
    EXPECT_EQ("", contentOf(stream));
    close(folder);
    EXPECT_EQ("the request cannot be read: Is a directory", stream.problem());
}

TEST(ServerRequest, IsReceivedWhole)
{
    RequestParts parts;
    parts.settingFile = "/run/x";
    parts.fips = true;
    parts.nameSpace = "blue";
    std::istringstream stream(tests::requestText(parts));
    const Request request = receiveRequest(stream);
    EXPECT_EQ(1, request.scenario);
    EXPECT_EQ("/run/x", request.settingFilePath);
    EXPECT_TRUE(request.fipsMode);
    EXPECT_EQ("blue", request.policy.getNsName());
    EXPECT_EQ(1U, request.policy.getFilterRules().size());
    EXPECT_EQ(2U, request.defaultRules.size());
    EXPECT_EQ(2U, request.certificates.size());
    EXPECT_NE(nullptr, request.policy.getPhase1SA());
    EXPECT_NE(nullptr, request.policy.getPhase2SA());
}

TEST(ServerRequest, OfGarbageIsAParseError)
{
    for (const std::string text : {"", "garbage", "<?xml version=\"1.0\"?>", "<a><b></a>"}) {
        std::istringstream stream(text);
        EXPECT_EQ("CArrayPaser's parse error",
                  tests::textThrownBy<std::runtime_error>([&] { receiveRequest(stream); }))
            << text;
    }
}

TEST(ServerRequest, HasANameForTheLog)
{
    EXPECT_EQ("start", scenarioName(1));
    EXPECT_EQ("shutdown", scenarioName(2));
    EXPECT_EQ("restart", scenarioName(3));
    EXPECT_EQ("request", scenarioName(0));
    EXPECT_EQ("request", scenarioName(4));
}

// What the server says to a request made of parts; "accepted" if it has nothing against it.
std::string verdictOn(const RequestParts& parts)
{
    std::istringstream stream(tests::requestText(parts));
    const Request request = receiveRequest(stream);
    try {
        checkRequest(request);
    } catch (const std::runtime_error& refusal) {
        return refusal.what();
    }
    return "accepted";
}

RequestParts goodParts()
{
    RequestParts parts;
    parts.settingFile = "/run/ipseccfg/engine.conf";
    return parts;
}

TEST(ServerRequestCheck, AcceptsEveryScenario)
{
    RequestParts parts = goodParts();
    for (const auto scenario :
         {ScenarioCommand::Start, ScenarioCommand::Restart, ScenarioCommand::Shutdown}) {
        parts.scenario = scenario;
        EXPECT_EQ("accepted", verdictOn(parts)) << scenario;
    }
}

TEST(ServerRequestCheck, RefusesAnyOtherScenario)
{
    RequestParts parts = goodParts();
    for (const int scenario : {0, 4, -1}) {
        parts.scenario = static_cast<ScenarioCommand::Type>(scenario);
        EXPECT_EQ("scenario: " + std::to_string(scenario) +
                      " is not allowed, only 1 (start), 2 (shutdown), 3 (restart)",
                  verdictOn(parts));
    }
}

TEST(ServerRequestCheck, NeedsAPathExceptForAShutdown)
{
    RequestParts parts;
    EXPECT_EQ("setting-file-path: must not be empty", verdictOn(parts));
    parts.scenario = ScenarioCommand::Restart;
    EXPECT_EQ("setting-file-path: must not be empty", verdictOn(parts));
    parts.scenario = ScenarioCommand::Shutdown;
    EXPECT_EQ("accepted", verdictOn(parts));
}

TEST(ServerRequestCheck, TakesANamespaceNameOfAllowedCharactersOnly)
{
    const char* const refusal =
        R"(ns-name: only 1 to 255 letters, digits, '_', '.' and '-' are allowed, and neither "." nor "..")";
    const struct {
        std::string name;
        const char* verdict;
    } cases[] = {
        {"", "accepted"},
        {"a", "accepted"},
        {"AZaz09_.-", "accepted"},
        {std::string(255, 'n'), "accepted"},
        {"...", "accepted"},
        {std::string(256, 'n'), refusal},
        {".", refusal},
        {"..", refusal},
        {"a b", refusal},
        {"a/b", refusal},
        {"../etc", refusal},
        {"a;id", refusal},
        {"$(id)", refusal},
        {"`id`", refusal},
        {"a'b", refusal},
        {"a\"b", refusal},
        {"\xC3\xA9", refusal},
        {"a\nb", "ns-name: control characters are not allowed"},
    };
    RequestParts parts = goodParts();
    for (const auto& one : cases)
        for (const auto scenario : {ScenarioCommand::Start, ScenarioCommand::Shutdown}) {
            parts.nameSpace = one.name;
            parts.scenario = scenario;
            EXPECT_EQ(one.verdict, verdictOn(parts)) << one.name;
        }
}

// Each string of a request, and how the server calls it.
struct Field {
    const char* name;
    void (*set)(RequestParts&, const std::string&);
};

const Field FIELDS[] = {
    {"setting-file-path", [](RequestParts& p, const std::string& t) { p.settingFile = t; }},
    {"ns-name", [](RequestParts& p, const std::string& t) { p.nameSpace = t; }},
    {"phase 1, proposal 0, transform 0: auth-method",
     [](RequestParts& p, const std::string& t) {
         p.phase1 = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                              AuthenticationMethod::PSK, t, GroupDescription::G14,
                                              LifeType::SECOND, 1);
     }},
    {"phase 2, proposal 0, transform 0: auth-method",
     [](RequestParts& p, const std::string& t) {
         p.phase2 = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                              AuthenticationMethod::RSA_SIG, t, GroupDescription::G14,
                                              LifeType::SECOND, 1);
     }},
    {"used rule 1: src-addr",
     [](RequestParts& p, const std::string& t) { p.used.front()->setSrcIpAddress(t); }},
    {"used rule 1: dst-addr",
     [](RequestParts& p, const std::string& t) { p.used.front()->setDstIpAddress(t); }},
    {"used rule 1: src-identity",
     [](RequestParts& p, const std::string& t) { p.used.front()->setSrcIdentity(t); }},
    {"used rule 1: dst-identity",
     [](RequestParts& p, const std::string& t) { p.used.front()->setDstIdentity(t); }},
    {"default rule 2: src-addr",
     [](RequestParts& p, const std::string& t) { p.others.back()->setSrcIpAddress(t); }},
    {"default rule 2: dst-addr",
     [](RequestParts& p, const std::string& t) { p.others.back()->setDstIpAddress(t); }},
    {"default rule 2: src-identity",
     [](RequestParts& p, const std::string& t) { p.others.back()->setSrcIdentity(t); }},
    {"default rule 2: dst-identity",
     [](RequestParts& p, const std::string& t) { p.others.back()->setDstIdentity(t); }},
    {"certificate 2: cert-path",
     [](RequestParts& p, const std::string& t) { p.certificates.back()->setCertFilePath(t); }},
    {"certificate 2: pkey-path",
     [](RequestParts& p, const std::string& t) { p.certificates.back()->setPkeyFilePath(t); }},
};

class ServerRequestStrings : public ::testing::TestWithParam<Field> {
protected:
    static std::string verdictOnText(const std::string& text)
    {
        RequestParts parts = goodParts();
        GetParam().set(parts, text);
        return verdictOn(parts);
    }
};

TEST_P(ServerRequestStrings, HoldNoControlCharacter)
{
    for (const std::string control : {"\t", "\n", "\r", "\x7F", "\xC2\x80", "\xC2\x85", "\xC2\x9F"}) {
        // What the message's text form of authentication data cannot carry arrives as something else.
        const bool isData = std::string(GetParam().name).find("auth-method") != std::string::npos;
        if (isData && control != "\x7F")
            continue;
        EXPECT_EQ(std::string(GetParam().name) + ": control characters are not allowed",
                  verdictOnText("text" + control + "text"));
    }
}

TEST_P(ServerRequestStrings, AreNeverQuotedWhenRefused)
{
    const std::string verdict = verdictOnText("SECRET\x7F"
                                              "SECRET");
    EXPECT_EQ(std::string::npos, verdict.find("SECRET")) << verdict;
}

INSTANTIATE_TEST_SUITE_P(All, ServerRequestStrings, ::testing::ValuesIn(FIELDS), [](const auto& instance) {
    std::string name = instance.param.name;
    for (char& character : name)
        if (std::isalnum(static_cast<unsigned char>(character)) == 0)
            character = '_';
    return name;
});

// A request as the wire has it, with one text put in place of another.
std::string verdictOnWire(const std::string& from, const std::string& to)
{
    std::string text = tests::requestText(goodParts());
    EXPECT_NE(std::string::npos, text.find(from)) << from;
    text.replace(text.find(from), from.size(), to);
    std::istringstream stream(text);
    try {
        checkRequest(receiveRequest(stream));
    } catch (const std::exception& refusal) {
        return refusal.what();
    }
    return "accepted";
}

std::string member(const std::string& name, const std::string& value)
{
    return "<member><name>" + name + "</name><value><int>" + value + "</int></value></member>";
}

std::string hexOf(const std::string& data)
{
    std::ostringstream hex;
    hex << "0x" << std::hex;
    for (const char byte : data)
        hex << static_cast<int>(byte);
    return hex.str();
}

TEST(ServerRequestCheck, RefusesControlCharactersInAuthenticationDataAsTheyArrive)
{
    const std::string transform = "phase 1, proposal 0, transform 0: auth-method: ";
    for (const std::string data : {"0x00", "0x410a42", "0x1f", "0x7f", "0xc280", "0xc29f"})
        EXPECT_EQ(transform + "control characters are not allowed", verdictOnWire(hexOf(tests::SECRET), data))
            << data;
    // A byte above 0x7F is sent as eight digits, and read as four bytes.
    for (const std::string data : {"0xffffffe9", "0xe9", "0xc3"})
        EXPECT_EQ(transform + "the text is not valid UTF-8", verdictOnWire(hexOf(tests::SECRET), data))
            << data;
    EXPECT_EQ("accepted", verdictOnWire(hexOf(tests::SECRET), "0xc3a9"));
    EXPECT_EQ(transform + "the pre-shared key is empty", verdictOnWire(hexOf(tests::SECRET), "0x"));
}

TEST(ServerRequestCheck, RefusesNumbersThatMeanNothing)
{
    const std::string transform = "phase 1, proposal 0, transform 0: ";
    const struct {
        std::string member;
        std::string present;
        std::string value;
        std::string verdict;
    } cases[] = {
        {"enc-algo", "0", "3", transform + "enc-algo: 3 is not allowed, only 0 (AES), 1 (3DES), 2 (AES-GCM)"},
        {"enc-algo", "0", "-1",
         transform + "enc-algo: -1 is not allowed, only 0 (AES), 1 (3DES), 2 (AES-GCM)"},
        {"key-length", "256", "255", transform + "key-length: 255 is not allowed, only 128, 192 and 256"},
        {"key-length", "256", "0", transform + "key-length: 0 is not allowed, only 128, 192 and 256"},
        {"key-length", "256", "192", "accepted"},
        {"hash-algo", "1", "5",
         transform +
             "hash-algo: 5 is not allowed, only 0 (SHA1), 1 (SHA256), 2 (SHA384), 3 (SHA512), 4 (AES-GCM)"},
        {"group-dsc", "0", "14",
         transform + "group-dsc: 14 is not allowed, only 0 (14), 1 (24), 2 (19), 3 (20)"},
        {"life-type", "0", "1", transform + "life-type: 1 is not allowed, only 0 (seconds)"},
        {"life-duration", "28800", "0", transform + "life-duration: 0 is not allowed, only 1 and more"},
        {"filter-type", "3", "4",
         "default rule 1: filter-type: 4 is not allowed, only 1 (bypass), 2 (discard)"},
        {"filter-type", "1", "0",
         "default rule 1: filter-type: 0 is not allowed, only 1 (bypass), 2 (discard)"},
        {"identity-type", "3", "4",
         "used rule 1: identity-type: 4 is not allowed, only 0 (none), 1 (ip), 2 (dn), 3 (email)"},
        {"priority", "10", "100", "Priority is invalid: value: 100"},
        {"cert-kind", "1", "0",
         "certificate 1: cert-kind: 0 is not allowed, only 1 (end-entity), 2 (internal-ca), 3 (root-ca)"},
        {"cert-kind", "3", "4",
         "certificate 2: cert-kind: 4 is not allowed, only 1 (end-entity), 2 (internal-ca), 3 (root-ca)"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(one.verdict, verdictOnWire(member(one.member, one.present), member(one.member, one.value)))
            << one.member << " " << one.value;
}

TEST(ServerRequestCheck, RefusesAnUnknownAuthenticationMethod)
{
    EXPECT_EQ("phase 1, proposal 0, transform 0: auth-method: 2 is not allowed, only 0 (PSK), 1 (RSA_SIG)",
              verdictOnWire("<string>0</string>", "<string>2</string>"));
}

TEST(ServerRequestCheck, NeedsWhatATransformCannotDoWithout)
{
    const std::string transform = "phase 1, proposal 0, transform 0: ";
    const struct {
        std::string member;
        std::string value;
        std::string verdict;
    } cases[] = {
        {"enc-algo", "0", transform + "enc-algo: is missing"},
        {"key-length", "256", transform + "key-length: is missing"},
        {"hash-algo", "1", transform + "hash-algo: is missing"},
        {"group-dsc", "0", "accepted"},
        {"life-type", "0", transform + "life-type: is missing"},
        {"life-duration", "28800", transform + "life-duration: is missing"},
        {"priority", "10", "used rule 1: priority: is missing"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(one.verdict, verdictOnWire(member(one.member, one.value), "")) << one.member;
}

TEST(ServerRequestCheck, RefusesAnAttributeGivenTwice)
{
    for (const auto& [name, value] : {std::pair<std::string, std::string>{"enc-algo", "0"},
                                      {"key-length", "256"},
                                      {"hash-algo", "1"},
                                      {"group-dsc", "0"},
                                      {"life-type", "0"},
                                      {"life-duration", "28800"}})
        EXPECT_EQ("phase 1, proposal 0, transform 0: " + name + ": is given twice",
                  verdictOnWire(member(name, value), member(name, value) + member(name, value)));
}

TEST(ServerRequestCheck, CallsProposalAndTransformByTheirIdsWhateverTheirPlace)
{
    EXPECT_EQ(
        "phase 1, proposal 5, transform 7: enc-algo: is given twice",
        verdictOnWire(member("transform-id", "0"),
                      member("proposal-id", "5") + member("transform-id", "7") + member("enc-algo", "1")));
}

TEST(ServerRequestCheck, TakesTheKeyLengthsOf3Des)
{
    const struct {
        int length;
        std::string verdict;
    } cases[] = {
        {0, "accepted"},
        {168, "accepted"},
        {192, "accepted"},
        {128,
         "phase 2, proposal 0, transform 0: key-length: 128 is not allowed, only 0, 168 and 192 for 3DES"}};
    RequestParts parts = goodParts();
    for (const auto& one : cases) {
        parts.phase2 = createSecurityAssociation(EncryptionAlgorithm::DES3, one.length, HashAlgorithm::SHA1,
                                                 LifeType::SECOND, 60);
        EXPECT_EQ(one.verdict, verdictOn(parts)) << one.length;
    }
}

TEST(ServerRequestCheck, NamesTheProposalAndTheTransform)
{
    RequestParts parts = goodParts();
    const PayloadPtr proposal = createProposal();
    dynamic_cast<Proposal&>(*proposal).setId(7);
    for (const int id : {1, 9}) {
        const PayloadPtr transform = createTransform(EncryptionAlgorithm::AES, id == 9 ? 1 : 128,
                                                     HashAlgorithm::SHA1, LifeType::SECOND, 60);
        dynamic_cast<Transform&>(*transform).setId(id);
        proposal->add(transform);
    }
    parts.phase2->add(proposal);
    EXPECT_EQ("phase 2, proposal 7, transform 9: key-length: 1 is not allowed, only 128, 192 and 256",
              verdictOn(parts));
}

TEST(ServerRequestCheck, NeedsBothAssociationsWhereARuleProtects)
{
    RequestParts parts = goodParts();
    parts.phase1 = createSecurityAssociation();
    EXPECT_EQ("phase 1: is missing, but there are rules that protect traffic", verdictOn(parts));
    parts = goodParts();
    parts.phase2 = createSecurityAssociation();
    EXPECT_EQ("phase 2: is missing, but there are rules that protect traffic", verdictOn(parts));
    parts.phase1 = createSecurityAssociation();
    parts.used.clear();
    EXPECT_EQ("accepted", verdictOn(parts));
}

} // namespace
