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
    /// The certificate's role. Any other number, as it may arrive in a message, is kept as it is.
    enum Kind : int {
        None = 0,       ///< not said
        EndEntity = 1,  ///< the device's own, the only one that goes with a private key
        InternalCA = 2, ///< an intermediate certification authority
        RootCA = 3      ///< the certification authority that is trusted
    };

    /// Kind `None`, empty paths.
    Certificate();
    /// @param kind the role; not checked
    /// @param certFilePath the certificate's file, copied
    /// @param pkeyFilePath the private key's file, copied; empty where there is none
    Certificate(Kind kind, const std::string& certFilePath, const std::string& pkeyFilePath);

    /// Sets the role; any number is taken.
    void setKind(Kind kind);
    /// Sets the path of the certificate's file; any text is taken.
    void setCertFilePath(const std::string& path);
    /// Sets the path of the private key's file; any text is taken.
    void setPkeyFilePath(const std::string& path);

    /// The role.
    Kind getKind() const;
    /// "None", "EndEntity", "InternalCA", "RootCA" or, for any other value, "Unknown".
    std::string getKindName() const;
    /// A copy of the path of the certificate's file.
    std::string getCertFilePath() const;
    /// A copy of the path of the private key's file.
    std::string getPkeyFilePath() const;

private:
    Kind kind_;
    std::string certFilePath_;
    std::string pkeyFilePath_;
};

/// Shared ownership of a certificate; lists and messages share it and never copy it.
using CertificatePtr = std::shared_ptr<Certificate>;

/// A certificate with the default values.
CertificatePtr createCertificate();
/// A certificate of these values; parameters as of Certificate's constructor.
CertificatePtr createCertificate(Certificate::Kind kind, const std::string& certFilePath,
                                 const std::string& pkeyFilePath);

/// Writes a heading and one line a field, each ended by a line end with flush; the kind by its name:
///
///     Contents of Certificate:
///       Filter Kind   : EndEntity
///       Cert File Path: /etc/ipseccfg/device.pem
///       Pkey File Path: /etc/ipseccfg/device.key
std::ostream& operator<<(std::ostream& os, const Certificate& certificate);

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
