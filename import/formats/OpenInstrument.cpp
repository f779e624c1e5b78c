#include "import/formats/OpenInstrument.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "bank/FileAnswer.h"
#include "import/notefolder/NoteFolder.h"
#include "import/sfz/SfzInstrument.h"
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
    FormatRow{InputFormat::Sfz, SfzInstrument::IsSfz},
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
        std::error_code unknown;
        format = InputFormat::None;
        const bool bFolder = std::filesystem::is_directory(strPath, unknown);
        if (unknown) return Unreadable(unknown.value());
        if (bFolder) {
            format = InputFormat::NoteFolder;
            return ImportOutcome();
        }
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
            case InputFormat::Sfz: return OpenAs<SfzInstrument>(strPath, pInstrument);
            case InputFormat::NoteFolder: return OpenAs<NoteFolder>(strPath, pInstrument);
            case InputFormat::None: break;
        }
        return Refused(
            "it is of no format that is read: SoundFont (SF2, SF3), SFZ, or a folder of samples named by "
            "note");
    });
}

}  // namespace Kestrova
