// References to certificate files.

#include "Certificate.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using testing::PrintToString;

TEST(Certificate, BeginsEmpty)
{
    for (const CertificatePtr& certificate : {std::make_shared<Certificate>(), createCertificate()}) {
        EXPECT_EQ(Certificate::None, certificate->getKind());
        EXPECT_EQ("", certificate->getCertFilePath());
        EXPECT_EQ("", certificate->getPkeyFilePath());
    }
}

TEST(Certificate, StoresWhatItIsGivenUnchanged)
{
    const CertificatePtr certificate = createCertificate(Certificate::Kind::RootCA, "c", "k");
    EXPECT_EQ(Certificate::RootCA, certificate->getKind());
    EXPECT_EQ("c", certificate->getCertFilePath());
    EXPECT_EQ("k", certificate->getPkeyFilePath());
    certificate->setKind(Certificate::EndEntity);
    certificate->setCertFilePath("c 2\n");
    certificate->setPkeyFilePath("k 2\n");
    EXPECT_EQ(Certificate::EndEntity, certificate->getKind());
    EXPECT_EQ("c 2\n", certificate->getCertFilePath());
    EXPECT_EQ("k 2\n", certificate->getPkeyFilePath());
}

TEST(Certificate, NamesItsKind)
{
    const struct {
        int kind;
        const char* name;
    } rows[] = {{0, "None"},   {1, "EndEntity"}, {2, "InternalCA"},
                {3, "RootCA"}, {4, "Unknown"},   {-1, "Unknown"}};
    for (const auto& row : rows)
        EXPECT_EQ(row.name, Certificate(static_cast<Certificate::Kind>(row.kind), "", "").getKindName())
            << row.kind;
}

TEST(Certificate, PrintsOneLineAFieldAndItsKindByName)
{
    EXPECT_EQ("Contents of Certificate:\n"
              "  Filter Kind   : None\n"
              "  Cert File Path: \n"
              "  Pkey File Path: \n",
              PrintToString(Certificate()));
    EXPECT_EQ("Contents of Certificate:\n"
              "  Filter Kind   : InternalCA\n"
              "  Cert File Path: /c.pem\n"
              "  Pkey File Path: /k.pem\n",
              PrintToString(Certificate(Certificate::InternalCA, "/c.pem", "/k.pem")));
}

TEST(Certificate, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic<Certificate>::value);
}

} // namespace
} // namespace tests
