#include "import/wavefile/WaveFile.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "bank/FileAnswer.h"
#include "codec/ReadBudget.h"
#include "import/wavefile/WaveEncoding.h"
#include "shared/System/kvMutex.h"

namespace Kestrova {
namespace {

constexpr int kMostChannels = 2;
constexpr uint64_t kMostFrames = UINT32_MAX;  // of a record of a bank
constexpr size_t kNumbersPerPiece = 8192;
constexpr int kCentsPerKey = 100;
constexpr int kHighestKey = 127;

// What libsndfile reads: the part of the file, through our own file so that every failure has its reason.
class SoundBytes {
public:
    ImportOutcome Open(const std::string& strPath, const FilePart& part) {
        unsigned long long nSize = 0;
        const FileAnswer opened =
            AskFile(m_file, [&] { return m_file.Open(strPath.c_str(), 0) && m_file.GetSize(nSize); });
        if (!opened) return Unreadable(opened.nError);
        m_nStart = std::min<uint64_t>(part.pos, nSize);
        m_nBytes = std::min<uint64_t>(part.nBytes, nSize - m_nStart);
        m_nFileBytes = nSize;
        return {};
    }

    uint64_t GetFileBytes() const { return m_nFileBytes; }

    // The first failure of the system; otherwise what is given.
    ImportOutcome FailureOr(const ImportOutcome& otherwise) const {
        return m_bFailed ? Unreadable(m_nError) : otherwise;
    }

    static SF_VIRTUAL_IO Functions() {
        return {[](void* p) { return Of(p).Length(); },
                [](sf_count_t nOffset, int nWhence, void* p) { return Of(p).Seek(nOffset, nWhence); },
                [](void* pTo, sf_count_t n, void* p) { return Of(p).Read(pTo, n); },
                [](const void*, sf_count_t, void*) { return sf_count_t{0}; },
                [](void* p) { return Of(p).m_pos; }};
    }

private:
    static SoundBytes& Of(void* p) { return *static_cast<SoundBytes*>(p); }

    sf_count_t Length() const { return static_cast<sf_count_t>(m_nBytes); }

    sf_count_t Seek(sf_count_t nOffset, int nWhence) {
        const sf_count_t nBase = nWhence == SEEK_SET ? 0 : nWhence == SEEK_CUR ? m_pos : Length();
        sf_count_t pos = 0;
        if (__builtin_add_overflow(nBase, nOffset, &pos) || pos < 0) return -1;
        return m_pos = pos;
    }

    sf_count_t Read(void* pTo, sf_count_t n) {
        const sf_count_t nThere = std::clamp<sf_count_t>(Length() - m_pos, 0, std::max<sf_count_t>(n, 0));
        const FileAnswer read = AskFile(m_file, [&] {
            return m_file.ReadAtPos(m_nStart + static_cast<uint64_t>(m_pos), pTo,
                                    static_cast<unsigned long>(nThere));
        });
        if (!read && !std::exchange(m_bFailed, true)) m_nError = read.nError;
        if (!read) return 0;
        m_pos += nThere;
        return nThere;
    }

    CXFile m_file;
    uint64_t m_nStart = 0;
    uint64_t m_nBytes = 0;
    uint64_t m_nFileBytes = 0;  // of which this may be a part
    sf_count_t m_pos = 0;       // from m_nStart
    bool m_bFailed = false;
    int m_nError = 0;  // 0 with m_bFailed: the file became shorter
};

struct SoundCloser {
    void operator()(SNDFILE* p) const { sf_close(p); }
};
using SoundHandle = std::unique_ptr<SNDFILE, SoundCloser>;

// libsndfile tells a want of memory with this text alone; it has no public number for it.
constexpr std::string_view kSoundNoMemory = "Internal malloc () failed";

// libsndfile's reason, which ends with a full stop.
ImportOutcome NotRead(SNDFILE* pHandle) {
    if (sf_error(pHandle) == SF_ERR_UNRECOGNISED_FORMAT)
        return Refused("it is no sound file of a known kind");
    std::string strReason = sf_strerror(pHandle);
    strReason.erase(strReason.find_last_not_of(" .\n") + 1);
    if (strReason == kSoundNoMemory) return NoMemory();
    return Refused("its sound cannot be read (" + strReason + ")");
}

// The reason of a failed opening is one for the whole process.
ImportOutcome OpenHandle(SoundBytes& bytes, SF_INFO& info, SoundHandle& pHandle) {
    static Mutex s_lock;
    const MutexGuard guard(s_lock);
    SF_VIRTUAL_IO functions = SoundBytes::Functions();
    pHandle.reset(sf_open_virtual(&functions, SFM_READ, &info, &bytes));
    return pHandle ? ImportOutcome() : bytes.FailureOr(NotRead(nullptr));
}

// Whether a line of libsndfile's log, such as "data : 20000 (should be 8956)", says that the chunk states
// more bytes than there are.
bool StatesTooMuch(std::string_view line, std::string_view chunk) {
    constexpr std::string_view kMiddle = " (should be ";
    const std::string strLine(line.substr(std::min(line.find_first_not_of(' '), line.size())));
    const size_t nMiddle = strLine.find(kMiddle);
    if (strLine.rfind(chunk, 0) != 0 || nMiddle == std::string::npos) return false;
    return std::strtoull(strLine.c_str() + nMiddle + kMiddle.size(), nullptr, 10) <
           std::strtoull(strLine.c_str() + chunk.size(), nullptr, 10);
}

// libsndfile reads what is there of a file that is cut short and calls that a success; only its log tells.
bool IsCut(SNDFILE* pHandle) {
    std::array<char, 16384> log{};  // as long as libsndfile's own
    sf_command(pHandle, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()) - 1);
    std::istringstream lines(log.data());
    for (std::string strLine; std::getline(lines, strLine);)
        if (StatesTooMuch(strLine, "data : ") || StatesTooMuch(strLine, "SSND : ")) return true;
    return false;
}

bool IsAiff(int nFormat) { return (nFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_AIFF; }

// Only of these formats is it known what their instrument chunk means.
bool HasKnownInstrument(int nFormat) {
    const int nType = nFormat & SF_FORMAT_TYPEMASK;
    return nType == SF_FORMAT_WAV || nType == SF_FORMAT_WAVEX || nType == SF_FORMAT_RF64 || IsAiff(nFormat);
}

WaveLoopKind LoopKind(int nMode) {
    if (nMode == SF_LOOP_BACKWARD) return WaveLoopKind::Backward;
    return nMode == SF_LOOP_ALTERNATING ? WaveLoopKind::Alternating : WaveLoopKind::Forward;
}

// A WAV file's fraction tells how far the wave's own pitch lies above the key; an AIFF file's detune by how
// much the wave shall be raised, which is the opposite. libsndfile gives both as they are, and of both
// formats the loop's end as one past the last frame.
void ReadInstrument(SNDFILE* pHandle, int nFormat, WaveFileFacts& facts) {
    SF_INSTRUMENT instrument{};
    if (!HasKnownInstrument(nFormat) ||
        sf_command(pHandle, SFC_GET_INSTRUMENT, &instrument, sizeof instrument) != SF_TRUE)
        return;
    const int nKey = static_cast<unsigned char>(instrument.basenote);
    // A signed number, whatever a char is on this machine.
    const int nDetune = (static_cast<unsigned char>(instrument.detune) ^ 0x80) - 0x80;
    if (nKey <= kHighestKey) facts.nRootCents = nKey * kCentsPerKey + (IsAiff(nFormat) ? -nDetune : nDetune);
    const auto nLoops = std::clamp<size_t>(static_cast<size_t>(std::max(instrument.loop_count, 0)), 0,
                                           std::size(instrument.loops));
    for (size_t i = 0; i < nLoops; ++i) {
        const auto& loop = instrument.loops[i];
        if (loop.mode == SF_LOOP_NONE) continue;
        facts.loops.push_back({LoopKind(loop.mode), loop.start, loop.end - 1});
    }
}

sf_count_t ReadNumbers(SNDFILE* pHandle, int32_t* p, uint64_t nFrames) {
    return sf_readf_int(pHandle, p, static_cast<sf_count_t>(nFrames));
}

sf_count_t ReadNumbers(SNDFILE* pHandle, double* p, uint64_t nFrames) {
    return sf_readf_double(pHandle, p, static_cast<sf_count_t>(nFrames));
}

}  // namespace

struct WaveFile::Sound {
    SoundBytes bytes;
    SoundHandle pHandle;  // reads from bytes, so it is closed before them
    WaveFileFacts facts;
    bool bFloating = false;
    uint64_t nPosition = 0;

    ImportOutcome Open(const std::string& strPath, const FilePart& part);
    ImportOutcome SetFacts(const SF_INFO& info);
    ImportOutcome CheckLength();
    ImportOutcome Seek(uint64_t nFrame);
    ImportOutcome ReadFrames(uint64_t nFirst, uint64_t nFrames, uint8_t* pOut);
    template <class TNumber>
    ImportOutcome ReadPieces(uint64_t nFrames, uint8_t* pOut);
};

ImportOutcome WaveFile::Sound::Open(const std::string& strPath, const FilePart& part) {
    SF_INFO info{};
    ImportOutcome outcome = bytes.Open(strPath, part);
    if (outcome.IsDone()) outcome = OpenHandle(bytes, info, pHandle);
    if (outcome.IsDone()) outcome = SetFacts(info);
    return outcome.IsDone() ? CheckLength() : outcome;
}

ImportOutcome WaveFile::Sound::SetFacts(const SF_INFO& info) {
    if (info.channels < 1 || info.channels > kMostChannels)
        return Refused("it has " + std::to_string(info.channels) + " channels, and a bank takes one or two");
    if (info.samplerate < 1) return Refused("it has no sample rate");
    if (info.frames < 0 || static_cast<uint64_t>(info.frames) > kMostFrames)
        return Refused("it is longer than a record can hold, or does not tell its length");
    const WaveEncoding* const pEncoding = FindWaveEncoding(info.format);
    if (pEncoding == nullptr) return Refused("its encoding is not known");
    facts.nRate = static_cast<uint32_t>(info.samplerate);
    facts.nChannels = static_cast<uint32_t>(info.channels);
    facts.nFrames = static_cast<uint64_t>(info.frames);
    facts.nBits = pEncoding->nBits;
    if (pEncoding->pszRounded != nullptr) facts.strRounded = pEncoding->pszRounded;
    if (facts.nFrames * facts.nChannels * (facts.nBits / 8) > ReadBudget::MostFor(bytes.GetFileBytes()))
        return Refused(kOverReadBudget);
    facts.bCut = IsCut(pHandle.get());
    bFloating = pEncoding->bFloating;
    ReadInstrument(pHandle.get(), info.format, facts);
    return {};
}

// Memory is taken by the number of frames, which some formats only declare; so the last one is looked at.
ImportOutcome WaveFile::Sound::CheckLength() {
    if (facts.nFrames == 0) return {};
    std::array<uint8_t, size_t{kMostChannels} * 3> lastFrame{};
    if (ImportOutcome outcome = ReadFrames(facts.nFrames - 1, 1, lastFrame.data()); !outcome.IsDone())
        return bytes.FailureOr(Refused("its sound ends before the " + std::to_string(facts.nFrames) +
                                       " frames that it declares"));
    return Seek(0);
}

ImportOutcome WaveFile::Sound::Seek(uint64_t nFrame) {
    const auto nWanted = static_cast<sf_count_t>(nFrame);
    if (sf_seek(pHandle.get(), nWanted, SEEK_SET) != nWanted) return bytes.FailureOr(NotRead(pHandle.get()));
    nPosition = nFrame;
    return {};
}

ImportOutcome WaveFile::Sound::ReadFrames(uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) {
    if (nFirst != nPosition)
        if (ImportOutcome outcome = Seek(nFirst); !outcome.IsDone()) return outcome;
    return bFloating ? ReadPieces<double>(nFrames, pOut) : ReadPieces<int32_t>(nFrames, pOut);
}

template <class TNumber>
ImportOutcome WaveFile::Sound::ReadPieces(uint64_t nFrames, uint8_t* pOut) {
    std::array<TNumber, kNumbersPerPiece> numbers;
    while (nFrames > 0) {
        const uint64_t nPiece = std::min<uint64_t>(nFrames, kNumbersPerPiece / facts.nChannels);
        const sf_count_t nRead = ReadNumbers(pHandle.get(), numbers.data(), nPiece);
        if (nRead != static_cast<sf_count_t>(nPiece)) return bytes.FailureOr(Unreadable(0));
        PackNumbers(numbers.data(), nPiece * facts.nChannels, facts.nBits, pOut);
        pOut += nPiece * facts.nChannels * (facts.nBits / 8);
        nFrames -= nPiece;
        nPosition += nPiece;
    }
    return {};
}

WaveFile::WaveFile() = default;
WaveFile::~WaveFile() = default;

ImportOutcome WaveFile::Open(const std::string& strPath, const FilePart& part) {
    return CatchNoMemory([&] {
        m_pSound.reset();
        auto pSound = std::make_unique<Sound>();
        ImportOutcome outcome = pSound->Open(strPath, part);
        if (outcome.IsDone()) m_pSound = std::move(pSound);
        return outcome;
    });
}

const WaveFileFacts& WaveFile::GetFacts() const { return m_pSound->facts; }

uint64_t WaveFile::GetPosition() const { return m_pSound->nPosition; }

ImportOutcome WaveFile::ReadFrames(uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) {
    return m_pSound->ReadFrames(nFirst, nFrames, pOut);
}

}  // namespace Kestrova
