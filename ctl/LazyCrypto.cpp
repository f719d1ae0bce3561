// libcrypto, loaded when the first sum is taken; see LazyLibrary.h.

#include "ctl/LazyLibrary.h"

#include <openssl/evp.h>

namespace {

template <typename Function> Function* cryptoFunction(const char* name, Function* likeness)
{
    return ctl::lazyFunction(OBG_LIBCRYPTO, name, likeness);
}

} // namespace

extern "C" {

EVP_MD* EVP_MD_fetch(OSSL_LIB_CTX* context, const char* algorithm, const char* properties)
{
    static const auto function = cryptoFunction("EVP_MD_fetch", &EVP_MD_fetch);
    return function(context, algorithm, properties);
}

EVP_MD_CTX* EVP_MD_CTX_new(void)
{
    static const auto function = cryptoFunction("EVP_MD_CTX_new", &EVP_MD_CTX_new);
    return function();
}

void EVP_MD_CTX_free(EVP_MD_CTX* context)
{
    static const auto function = cryptoFunction("EVP_MD_CTX_free", &EVP_MD_CTX_free);
    function(context);
}

int EVP_DigestInit_ex2(EVP_MD_CTX* context, const EVP_MD* type, const OSSL_PARAM parameters[])
{
    static const auto function = cryptoFunction("EVP_DigestInit_ex2", &EVP_DigestInit_ex2);
    return function(context, type, parameters);
}

int EVP_DigestUpdate(EVP_MD_CTX* context, const void* bytes, size_t count)
{
    static const auto function = cryptoFunction("EVP_DigestUpdate", &EVP_DigestUpdate);
    return function(context, bytes, count);
}

int EVP_DigestFinal_ex(EVP_MD_CTX* context, unsigned char* sum, unsigned int* size)
{
    static const auto function = cryptoFunction("EVP_DigestFinal_ex", &EVP_DigestFinal_ex);
    return function(context, sum, size);
}
}
