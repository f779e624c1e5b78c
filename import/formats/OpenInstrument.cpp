#include "import/formats/OpenInstrument.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "bank/FileAnswer.h"
#include "import/soundfont/SoundFontInstrument.h"

namespace Kestrova {
namespace {

constexpr size_t kHeadBytes = 0x10000;  // what a format is told by

// The first bytes of a file, or all of a shorter one.
ImportOutcome ReadHead(const std::string& strPath, std::string& strHead) {
    CXFile file;
    unsigned long long nBytes = 0;
    const FileAnswer read = AskFile(file, [&] {
        if (!file.Open(strPath.c_str(), 0) || !file.GetSize(nBytes)) return false;
        strHead.resize(std::min<unsigned long long>(nBytes, kHeadBytes));
        return strHead.empty() || file.ReadAtPos(0, strHead.data(), strHead.size());
    });
    return read ? ImportOutcome() : Unreadable(read.nError);
}

bool IsSoundFont(std::string_view head) {
    return head.size() >= 12 && head.substr(0, 4) == "RIFF" && head.substr(8, 4) == "sfbk";
}

struct FormatRow {
    InputFormat format;
    bool (*isFormat)(std::string_view head);
};
constexpr std::array kFormats = {
    FormatRow{InputFormat::SoundFont, IsSoundFont},
};

template <class TInstrument>
ImportOutcome OpenAs(const std::string& strPath, std::unique_ptr<IInstrument>& pInstrument) {
    auto pOpened = std::make_unique<TInstrument>();
    ImportOutcome outcome = pOpened->Open(strPath);
    if (outcome.IsDone()) pInstrument = std::move(pOpened);
    return outcome;
}

}  // namespace

ImportOutcome FindInputFormat(const std::string& strPath, InputFormat& format) {
    return CatchNoMemory([&] {
        std::string strHead;
        format = InputFormat::None;
        ImportOutcome outcome = ReadHead(strPath, strHead);
        if (!outcome.IsDone()) return outcome;
        for (const FormatRow& row : kFormats)
            if (row.isFormat(strHead)) {
                format = row.format;
                break;
            }
        return outcome;
    });
}

ImportOutcome OpenInstrument(const std::string& strPath, std::unique_ptr<IInstrument>& pInstrument,
                             const ImportWatch& watch) {
    InputFormat format = InputFormat::None;
    pInstrument.reset();
    if (ImportOutcome outcome = FindInputFormat(strPath, format); !outcome.IsDone()) return outcome;
    if (watch.isStopped()) return Cancelled();
    return CatchNoMemory([&] {
        switch (format) {
            case InputFormat::SoundFont: return OpenAs<SoundFontInstrument>(strPath, pInstrument);
            case InputFormat::None: break;
        }
        return Refused("it is not of a format that is read: a SoundFont file");
    });
}

}  // namespace Kestrova
