#include "SamplerDBDS/BaseClasses/DBUID.h"

#include <chrono>
#include <random>
#include <vector>

#include "shared/System/kvMutex.h"

namespace Kestrova {

namespace {

using Clock = std::chrono::steady_clock;

uint32_t TickCount() {
    const auto sinceStart = Clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

// A generator whose start differs at every run. When there is no random device, or no memory, only the clock
// gives its start.
std::mt19937 StartedGenerator() {
    const auto nClock = static_cast<uint32_t>(Clock::now().time_since_epoch().count());
    try {
        std::vector<uint32_t> arSeed{nClock};
        std::random_device device;
        for (int i = 0; i < 8; ++i) arSeed.push_back(device());
        std::seed_seq sequence(arSeed.begin(), arSeed.end());
        return std::mt19937(sequence);
    } catch (const std::exception&) {
        return std::mt19937(nClock);
    }
}

// One number of the process-wide generator.
uint32_t RandomNumber() {
    static Mutex s_lock;
    static std::mt19937 s_generator KV_GUARDED_BY(s_lock) = StartedGenerator();
    const MutexGuard guard(s_lock);
    return static_cast<uint32_t>(s_generator());
}

uint32_t RandomWord() {
    const uint32_t nHigh = RandomNumber() << 16;
    return nHigh | RandomNumber();
}

}  // namespace

uint32_t DBUID::TextWord(const char* pszSeedText) {
    uint32_t nWord = 1;
    uint32_t nFactor = 3;
    for (const char* pch = pszSeedText; pch != nullptr && *pch != 0; ++pch)
        nWord += static_cast<uint32_t>(static_cast<signed char>(*pch)) * nFactor++;  // deliberate (Q43)
    return nWord;
}

void DBUID::CreateDBUID(const char* pszSeedText) {
    m_words = {TickCount(), 0, 0, TextWord(pszSeedText)};
    for (uint32_t& nWord : m_words) {
        do {
            nWord += RandomWord();
        } while (nWord == 0);
    }
}

bool DBUID::GetDBUID(const char* pszPath) {
    CXFile file;
    if (file.Open(pszPath, 0)) return ReadFromDB(&file);
    m_words = {};
    return false;
}

bool DBUID::ReadFromDB(CXFile* pfile) {
    if (pfile != nullptr && pfile->ReadAtPos(kFilePosition, m_words.data(), sizeof m_words)) return true;
    m_words = {};
    return false;
}

bool DBUID::WriteToDB(CXFile* pfile) const {
    return pfile != nullptr && pfile->SeekToPos(kFilePosition) &&
           pfile->Write(m_words.data(), sizeof m_words);
}

}  // namespace Kestrova
