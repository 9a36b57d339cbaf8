// The certificate message.

#include "MessageTest.h"

namespace tests {
namespace {

class CertificateMessage : public MessageTest {
protected:
    static std::string textOf(const std::list<CertificatePtr>& certificates)
    {
        std::string text;
        for (const CertificatePtr& certificate : certificates)
            text += std::to_string(certificate->getKind()) + " " + certificate->getCertFilePath() + " " +
                    certificate->getPkeyFilePath() + "\n";
        return text;
    }
};

TEST_F(CertificateMessage, IsOneStructureOfFourMembersEach)
{
    run(CertificateSerializer({createCertificate(Certificate::EndEntity, "/c/ee.pem", "/c/ee.key"),
                               createCertificate(Certificate::RootCA, "/c/root.pem", "")}));
    EXPECT_EQ("{\ntable-id 3 3\ncert-kind 3 1\ncert-path 1 /c/ee.pem\npkey-path 1 /c/ee.key\n}\n"
              "{\ntable-id 3 3\ncert-kind 3 3\ncert-path 1 /c/root.pem\npkey-path 1 \n}\n",
              written());
}

TEST_F(CertificateMessage, WritesNothingForAnEmptyList)
{
    run(CertificateSerializer(std::list<CertificatePtr>()));
    EXPECT_EQ("", written());
}

TEST_F(CertificateMessage, KeepsTheCertificatesBeforeAFailureAndNothingOfTheFailedOne)
{
    memory_platform::state().hooks.addMember = throwingAt(4 + 4, std::runtime_error("full"));
    EXPECT_THROW(
        run(CertificateSerializer({createCertificate(Certificate::RootCA, "a", ""), createCertificate()})),
        std::runtime_error);
    EXPECT_EQ("{\ntable-id 3 3\ncert-kind 3 3\ncert-path 1 a\npkey-path 1 \n}\n", written());
    EXPECT_EQ(1, memory_platform::state().liveParsers);
}

TEST_F(CertificateMessage, IsReadBackInOrder)
{
    run(CertificateSerializer({createCertificate(Certificate::InternalCA, "a", "b"),
                               createCertificate(Certificate::None, "", ""),
                               createCertificate(static_cast<Certificate::Kind>(8), "c", "d")}));
    CertificateDeserializer certificates;
    run(certificates);
    EXPECT_EQ("2 a b\n0  \n8 c d\n", textOf(certificates.getCertificates()));
}

TEST_F(CertificateMessage, IgnoresACertificateNumber)
{
    EXPECT_EQ("1 a \n", textOf(read<CertificateDeserializer>(
                                   "{\ntable-id 3 3\ncert-id 3 x\ncert-kind 3 1\ncert-path 1 a\n}\n")
                                   .getCertificates()));
}

TEST_F(CertificateMessage, GoesOnWithTheCertificateBeforeInAStructureWithoutAKind)
{
    EXPECT_EQ("1 second key\n", textOf(read<CertificateDeserializer>(
                                           "{\ntable-id 3 3\ncert-kind 3 1\ncert-path 1 first\n}\n"
                                           "{\ntable-id 3 2\ncert-path 1 rule\n}\n"
                                           "{\ntable-id 3 3\ncert-path 1 second\npkey-path 1 key\n}\n")
                                           .getCertificates()));
}

TEST_F(CertificateMessage, RefusesAKindThatIsNoNumberAndKeepsWhatItRead)
{
    memory_platform::addTo(*array_,
                           "{\ntable-id 3 3\ncert-kind 3 1\n}\n{\ntable-id 3 3\ncert-kind 3 EndEntity\n}\n");
    CertificateDeserializer certificates;
    EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] { run(certificates); }));
    EXPECT_EQ("1  \n", textOf(certificates.getCertificates()));
}

TEST_F(CertificateMessage, EndsTheStructureQuietlyAtANumberThatDoesNotFitAnInt)
{
    EXPECT_EQ("1  \n2 c \n",
              textOf(read<CertificateDeserializer>("{\ntable-id 3 3\ncert-kind 3 1\n}\n{\ntable-id 3 "
                                                   "3\ncert-kind 3 99999999999\ncert-path 1 lost\n}\n"
                                                   "{\ntable-id 3 3\ncert-kind 3 2\ncert-path 1 c\n}\n")
                         .getCertificates()));
}

TEST_F(CertificateMessage, NamesAPathThatComesBeforeAnyCertificate)
{
    const struct {
        const char* member;
        const char* text;
    } rows[] = {{"cert-path 1 a", "Nothing to add the member to: cert-path"},
                {"pkey-path 1 a", "Nothing to add the member to: pkey-path"}};
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([&] {
                      read<CertificateDeserializer>(std::string("{\ntable-id 3 3\n") + row.member + "\n}\n");
                  }));
    }
}

} // namespace
} // namespace tests
