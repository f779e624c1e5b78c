#include "tools/kvbank/sums/Sha256.h"

#include <openssl/evp.h>

#include <new>

namespace Kestrova {

void Sha256::Free::operator()(evp_md_ctx_st* p) const { EVP_MD_CTX_free(p); }

Sha256::Sha256() : m_pContext(EVP_MD_CTX_new()) {
    if (!m_pContext) throw std::bad_alloc();
    m_bGood = EVP_DigestInit_ex(m_pContext.get(), EVP_sha256(), nullptr) == 1;
}

bool Sha256::Add(const void* p, size_t nBytes) {
    m_bGood = m_bGood && EVP_DigestUpdate(m_pContext.get(), p, nBytes) == 1;
    return m_bGood;
}

std::string Sha256::Finish() {
    constexpr char kDigits[] = "0123456789abcdef";
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned nBytes = 0;
    if (!m_bGood || EVP_DigestFinal_ex(m_pContext.get(), digest, &nBytes) != 1) return {};
    std::string strSum;
    for (unsigned i = 0; i < nBytes; ++i) {
        strSum += kDigits[digest[i] >> 4];
        strSum += kDigits[digest[i] & 15];
    }
    return strSum;
}

}  // namespace Kestrova
