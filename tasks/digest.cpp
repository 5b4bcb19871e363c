#include "tasks/digest.h"

#include <openssl/evp.h>

namespace {

const EVP_MD* openSslDigest(QCryptographicHash::Algorithm algorithm)
{
    switch (algorithm) {
    case QCryptographicHash::Md5:
        return EVP_md5();
    case QCryptographicHash::Sha1:
        return EVP_sha1();
    case QCryptographicHash::Sha224:
        return EVP_sha224();
    case QCryptographicHash::Sha256:
        return EVP_sha256();
    case QCryptographicHash::Sha384:
        return EVP_sha384();
    case QCryptographicHash::Sha512:
        return EVP_sha512();
    case QCryptographicHash::RealSha3_224:
        return EVP_sha3_224();
    case QCryptographicHash::RealSha3_256:
        return EVP_sha3_256();
    case QCryptographicHash::RealSha3_384:
        return EVP_sha3_384();
    case QCryptographicHash::RealSha3_512:
        return EVP_sha3_512();
    default:
        return nullptr;
    }
}

}  // namespace

Digest::Digest(QCryptographicHash::Algorithm algorithm)
{
    const EVP_MD* type = openSslDigest(algorithm);
    if (type) {
        context = EVP_MD_CTX_new();
        if (context && EVP_DigestInit_ex(context, type, nullptr) == 1)
            return;
        EVP_MD_CTX_free(context);
        context = nullptr;
    }
    fallback = std::make_unique<QCryptographicHash>(algorithm);
}

Digest::~Digest()
{
    EVP_MD_CTX_free(context);
}

void Digest::addData(const char* data, qint64 length)
{
    if (context)
        EVP_DigestUpdate(context, data, size_t(length));
    else
        fallback->addData(data, int(length));
}

QByteArray Digest::result()
{
    if (!context)
        return fallback->result();
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context, value, &length);
    return QByteArray(reinterpret_cast<const char*>(value), int(length));
}
