#ifndef IPSECCFG_CERTIFICATE_H
#define IPSECCFG_CERTIFICATE_H

/// @file
/// References to certificate files.

#include <iosfwd>
#include <list>
#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// One certificate of the policy (X.509, RFC 5280): its role, where its file lies and where its private key
/// lies.
///
/// A plain value; shared through CertificatePtr, not synchronised. The paths are kept as given; no file is
/// read.
class Certificate {
public:
    enum Kind : int { None = 0, EndEntity = 1, InternalCA = 2, RootCA = 3 };

    /// Kind `None`, empty paths.
    Certificate();
    Certificate(Kind kind, const std::string& certFilePath, const std::string& pkeyFilePath);

    void setKind(Kind kind);
    void setCertFilePath(const std::string& path);
    void setPkeyFilePath(const std::string& path);

    Kind getKind() const;
    /// "None", "EndEntity", "InternalCA", "RootCA" or, for any other value, "Unknown".
    std::string getKindName() const;
    std::string getCertFilePath() const;
    std::string getPkeyFilePath() const;

private:
    Kind kind_;
    std::string certFilePath_;
    std::string pkeyFilePath_;
};

using CertificatePtr = std::shared_ptr<Certificate>;

/// A certificate with the default values.
CertificatePtr createCertificate();
CertificatePtr createCertificate(Certificate::Kind kind, const std::string& certFilePath,
                                 const std::string& pkeyFilePath);

/// Writes a heading and one line a field, each ended by a line end with flush; the kind by its name.
std::ostream& operator<<(std::ostream& os, const Certificate& certificate);

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
