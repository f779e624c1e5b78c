#include "tools/kvbank/compare/RecordDifference.h"

#include <cstring>
#include <initializer_list>

namespace Kestrova {
namespace {

struct Field {
    bool bEqual;
    const char* pszName;
};

const char* FirstOf(std::initializer_list<Field> fields) {
    for (const Field& field : fields)
        if (!field.bEqual) return field.pszName;
    return nullptr;
}

// Texts end at their first zero byte; the bytes behind it are not part of the text.
bool Same(const char (&a)[256], const char (&b)[256]) { return std::strcmp(a, b) == 0; }

bool SameBytes(const void* a, size_t nA, const void* b, size_t nB) {
    return nA == nB && (nA == 0 || std::memcmp(a, b, nA) == 0);
}

bool Same(const StgPars& a, const StgPars& b) { return SameBytes(a.Data(), a.Size(), b.Data(), b.Size()); }

bool Same(const CStgBlock& a, const CStgBlock& b) {
    return SameBytes(a.Data(), a.Size(), b.Data(), b.Size());
}

bool SameLoops(const CSDBISampleBase& a, const CSDBISampleBase& b) {
    return SameBytes(a.GetLoops(), a.m_info.cLayerLoops * sizeof(SDBLOOP), b.GetLoops(),
                     b.m_info.cLayerLoops * sizeof(SDBLOOP));
}

bool SameWave(const CSDBISampleBase& a, const CSDBISampleBase& b) {
    return SameBytes(a.m_info.pWave, a.m_info.lWave, b.m_info.pWave, b.m_info.lWave);
}

constexpr const char* kName = "its name";
constexpr const char* kFirst = "its first value";
constexpr const char* kSecond = "its second value";
constexpr const char* kThird = "its third value";
constexpr const char* kFourth = "its fourth value";
constexpr const char* kBlock = "its parameter block";
constexpr const char* kTail = "its further parameters";

}  // namespace

const char* Difference(const CSDBIInfo& a, const CSDBIInfo& b) {
    return FirstOf({{Same(a.m_info.szName, b.m_info.szName), kName},
                    {Same(a.m_info.szDescription, b.m_info.szDescription), "its description"},
                    {a.m_info.nSampleRate == b.m_info.nSampleRate, "its sample rate"},
                    {a.m_info.nPerKey == b.m_info.nPerKey, "its layout flag"},
                    {a.m_info.nThird == b.m_info.nThird, kThird},
                    {a.m_info.nFourth == b.m_info.nFourth, kFourth},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* Difference(const CSDBIPreset& a, const CSDBIPreset& b) {
    return FirstOf({{Same(a.m_info.szName, b.m_info.szName), kName},
                    {a.m_info.nFirst == b.m_info.nFirst, kFirst},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* Difference(const CSDBIBank& a, const CSDBIBank& b) {
    return FirstOf({{Same(a.m_info.szName, b.m_info.szName), kName},
                    {a.m_info.nFirst == b.m_info.nFirst, kFirst},
                    {a.m_info.nSecond == b.m_info.nSecond, kSecond},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* Difference(const CSDBIProgram& a, const CSDBIProgram& b) {
    return FirstOf({{Same(a.m_info.szName, b.m_info.szName), kName},
                    {a.m_info.nFirst == b.m_info.nFirst, kFirst},
                    {a.m_info.nSecond == b.m_info.nSecond, kSecond},
                    {a.m_info.nThird == b.m_info.nThird, kThird},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* Difference(const CSDBIRegion& a, const CSDBIRegion& b) {
    return FirstOf({{Same(a.m_info.szName, b.m_info.szName), kName},
                    {a.m_info.nLowKey == b.m_info.nLowKey, "its low key"},
                    {a.m_info.nHighKey == b.m_info.nHighKey, "its high key"},
                    {a.m_info.nThird == b.m_info.nThird, kThird},
                    {a.m_info.nFourth == b.m_info.nFourth, kFourth},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* Difference(const CSDBILayer& a, const CSDBILayer& b) {
    return FirstOf({{a.m_info.nFirst == b.m_info.nFirst, kFirst},
                    {a.m_info.nSecond == b.m_info.nSecond, kSecond},
                    {a.m_info.nThird == b.m_info.nThird, kThird},
                    {a.m_info.nFourth == b.m_info.nFourth, kFourth},
                    {Same(a.m_params, b.m_params), kBlock},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* HeaderDifference(const CSDBISampleBase& a, const CSDBISampleBase& b) {
    return FirstOf({{Same(a.m_info.szName, b.m_info.szName), kName},
                    {a.m_info.nSampleRate == b.m_info.nSampleRate, "its sample rate"},
                    {a.m_info.nFormat == b.m_info.nFormat, "its sample format"},
                    {a.m_info.nChannels == b.m_info.nChannels, "its number of channels"},
                    {a.m_info.nFrames == b.m_info.nFrames, "its number of frames"},
                    {a.m_info.nRootKey == b.m_info.nRootKey, "its root key"},
                    {a.m_info.nFineTune == b.m_info.nFineTune, "its fine tune"},
                    {a.m_info.nFurther == b.m_info.nFurther, "its further word"},
                    {Same(a.m_params, b.m_params), kBlock},
                    {SameLoops(a, b), "its loop list"},
                    {Same(a.m_pars, b.m_pars), kTail}});
}

const char* Difference(const CSDBISampleBase& a, const CSDBISampleBase& b) {
    const char* const pszHeader = HeaderDifference(a, b);
    return pszHeader != nullptr || SameWave(a, b) ? pszHeader : "its wave";
}

}  // namespace Kestrova
