// Sha256.h - the SHA-256 sum of bytes that come piece by piece.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct evp_md_ctx_st;

namespace Kestrova {

class Sha256 {
public:
    // Throws std::bad_alloc.
    Sha256();

    // False when the library of the system refuses, as it may where only some algorithms are allowed.
    bool Add(const void* p, size_t nBytes);

    // 64 lower-case hexadecimal digits; empty when a step was refused. The object is used up then.
    std::string Finish();

private:
    struct Free {
        void operator()(evp_md_ctx_st* p) const;
    };
    std::unique_ptr<evp_md_ctx_st, Free> m_pContext;
    bool m_bGood;
};

}  // namespace Kestrova
