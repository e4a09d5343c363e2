#include "tests/support/tls/Certificate.h"

#include "tests/support/tls/Free.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace test_support {
namespace {

using Key = std::unique_ptr<EVP_PKEY, Free<&EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Free<&X509_free>>;
using Bio = std::unique_ptr<BIO, Free<&BIO_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Free<&X509_EXTENSION_free>>;

template <typename Result>
Result require(Result result) {
    if (!result) {
        throw std::runtime_error("OpenSSL cannot make a certificate");
    }
    return result;
}

void addExtension(X509* certificate, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const Extension extension(require(X509V3_EXT_conf_nid(nullptr, &context, nid, value)));
    require(X509_add_ext(certificate, extension.get(), -1));
}

std::string textOf(BIO* bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(size)};
}

} // namespace

Certificate makeCertificate() {
    const Key key(require(EVP_EC_gen("P-256")));
    const X509Ptr certificate(require(X509_new()));
    X509* const raw = certificate.get();
    X509_set_version(raw, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(raw), 1);
    X509_gmtime_adj(X509_getm_notBefore(raw), -24 * 60 * 60);
    X509_gmtime_adj(X509_getm_notAfter(raw), 24 * 60 * 60);
    X509_set_pubkey(raw, key.get());
    X509_NAME* const name = X509_get_subject_name(raw);
    const auto* const text = reinterpret_cast<const unsigned char*>("Zorvane tests");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0);
    X509_set_issuer_name(raw, name);
    addExtension(raw, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
    addExtension(raw, NID_basic_constraints, "critical,CA:TRUE");
    require(X509_sign(raw, key.get(), EVP_sha256()));

    const Bio certificateText(require(BIO_new(BIO_s_mem())));
    const Bio keyText(require(BIO_new(BIO_s_mem())));
    require(PEM_write_bio_X509(certificateText.get(), raw));
    require(
        PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr));
    return {.certificate = textOf(certificateText.get()), .privateKey = textOf(keyText.get())};
}

} // namespace test_support
