// References to certificate files: a plain value without checks.

#include "Certificate.h"

#include <iterator>
#include <ostream>

namespace norvale::tamber::systemdata::ipseccfg::common {

namespace {

constexpr const char* const KIND_NAMES[] = {"None", "EndEntity", "InternalCA", "RootCA"};

} // namespace

Certificate::Certificate()
    : kind_(None)
{}

Certificate::Certificate(Kind kind, const std::string& certFilePath, const std::string& pkeyFilePath)
    : kind_(kind)
    , certFilePath_(certFilePath)
    , pkeyFilePath_(pkeyFilePath)
{}

void Certificate::setKind(Kind kind)
{
    kind_ = kind;
}

void Certificate::setCertFilePath(const std::string& path)
{
    certFilePath_ = path;
}

void Certificate::setPkeyFilePath(const std::string& path)
{
    pkeyFilePath_ = path;
}

Certificate::Kind Certificate::getKind() const
{
    return kind_;
}

std::string Certificate::getKindName() const
{
    const int kind = kind_;
    const bool known = kind >= 0 && kind < static_cast<int>(std::size(KIND_NAMES));
    return known ? KIND_NAMES[kind] : "Unknown";
}

std::string Certificate::getCertFilePath() const
{
    return certFilePath_;
}

std::string Certificate::getPkeyFilePath() const
{
    return pkeyFilePath_;
}

CertificatePtr createCertificate()
{
    return std::make_shared<Certificate>();
}

CertificatePtr createCertificate(Certificate::Kind kind, const std::string& certFilePath,
                                 const std::string& pkeyFilePath)
{
    return std::make_shared<Certificate>(kind, certFilePath, pkeyFilePath);
}

std::ostream& operator<<(std::ostream& os, const Certificate& certificate)
{
    os << "Contents of Certificate:" << std::endl;
    os << "  Filter Kind   : " << certificate.getKindName() << std::endl;
    os << "  Cert File Path: " << certificate.getCertFilePath() << std::endl;
    os << "  Pkey File Path: " << certificate.getPkeyFilePath() << std::endl;
    return os;
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
