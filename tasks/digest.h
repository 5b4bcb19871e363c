#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <memory>

struct evp_md_ctx_st;

// A message digest over data given in pieces. OpenSSL computes the algorithms it knows, with code tuned
// for the processor (for MD5 about a sixth faster here than QCryptographicHash's portable code, which
// decides whether hashing keeps up with md5sum); the rest go to QCryptographicHash.
class Digest
{
public:
    explicit Digest(QCryptographicHash::Algorithm algorithm);
    ~Digest();
    Digest(const Digest&) = delete;
    Digest& operator=(const Digest&) = delete;

    void addData(const char* data, qint64 length);
    QByteArray result();

private:
    evp_md_ctx_st* context = nullptr;
    std::unique_ptr<QCryptographicHash> fallback;
};
