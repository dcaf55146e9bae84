#pragma once

#include <QString>

// One defaults domain found for a search, with the rights its deletion needs:
// level 0 is the user's own domain, deleted with the user's rights; level 1
// is root's, deleted through the privileged helper.
class SVDefaultsDomain {
public:
    SVDefaultsDomain() = default;
    SVDefaultsDomain(QString domain, qint32 authLevel)
        : domain_(std::move(domain))
        , authLevel_(authLevel) {}

    static SVDefaultsDomain defaultsDomainWithDomain(const QString& domain, qint32 authLevel) {
        return SVDefaultsDomain(domain, authLevel);
    }

    const QString& domain() const { return domain_; }
    void setDomain(const QString& domain) { domain_ = domain; }
    qint32 authLevel() const { return authLevel_; }
    void setAuthLevel(qint32 authLevel) { authLevel_ = authLevel; }

    bool operator==(const SVDefaultsDomain&) const = default;

private:
    QString domain_;
    qint32 authLevel_ = 0;
};
