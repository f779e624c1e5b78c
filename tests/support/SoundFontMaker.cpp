#include "tests/support/SoundFontMaker.h"

#include <algorithm>
#include <stdexcept>

namespace Kestrova::Test {
namespace {

constexpr size_t kNameBytes = 20;

class Writer {
public:
    Writer& Number(uint64_t n, size_t nBytes) {
        for (size_t i = 0; i < nBytes; ++i) m_bytes.push_back(static_cast<uint8_t>(n >> 8 * i));
        return *this;
    }
    Writer& Byte(uint64_t n) { return Number(n, 1); }
    Writer& Word(uint64_t n) { return Number(n, 2); }
    Writer& Long(uint64_t n) { return Number(n, 4); }
    Writer& Name(std::string strName) {
        strName.resize(kNameBytes);
        return Raw({strName.begin(), strName.end()});
    }
    Writer& Raw(const Bytes& bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Writer& Chunk(const std::string& strTag, const Bytes& body) {
        Raw({strTag.begin(), strTag.end()}).Long(body.size()).Raw(body);
        return body.size() % 2 == 0 ? *this : Byte(0);
    }
    const Bytes& Get() const { return m_bytes; }

private:
    Bytes m_bytes;
};

// The tables of zones: bags, modulators, generators, each with its terminal record.
struct ZoneWriter {
    Writer bags, modulators, generators;
    uint32_t nBags = 0, nModulators = 0, nGenerators = 0;

    void Add(const FontSpec::Zone& zone) {
        Bag();
        for (const auto& [nOperator, nAmount] : zone.gens)
            generators.Word(nOperator).Word(static_cast<uint64_t>(nAmount) & 0xFFFF), ++nGenerators;
        for (uint32_t i = 0; i < zone.nModulators; ++i) modulators.Raw(Bytes(10)), ++nModulators;
    }
    void Bag() { bags.Word(nGenerators).Word(nModulators), ++nBags; }
    void End() {
        Bag();
        modulators.Raw(Bytes(10));
        generators.Long(0);
    }
};

Bytes TextBody(const std::string& strText) {
    Bytes body(strText.begin(), strText.end());
    body.resize(body.size() + 2 - body.size() % 2);
    return body;
}

Bytes WaveBody(const std::vector<int16_t>& wave) {
    Writer body;
    for (const int16_t n : wave) body.Word(static_cast<uint16_t>(n));
    return body.Get();
}

Bytes SampleRows(const std::vector<FontSpec::Sample>& samples) {
    Writer rows;
    for (const FontSpec::Sample& sample : samples) {
        rows.Name(sample.strName).Long(sample.nStart).Long(sample.nEnd).Long(sample.nLoopStart);
        rows.Long(sample.nLoopEnd).Long(sample.nRate).Byte(sample.nRootKey);
        rows.Byte(static_cast<uint8_t>(sample.nCorrection)).Word(sample.nLink).Word(sample.nType);
    }
    return rows.Name("EOS").Raw(Bytes(26)).Get();
}

void AddZones(std::vector<FontChunkBytes>& chunks, const std::string& strLetter, const ZoneWriter& zones) {
    chunks.push_back({"pdta", strLetter + "bag", zones.bags.Get()});
    chunks.push_back({"pdta", strLetter + "mod", zones.modulators.Get()});
    chunks.push_back({"pdta", strLetter + "gen", zones.generators.Get()});
}

}  // namespace

std::vector<int16_t> MakeRamp(size_t nFrames) {
    std::vector<int16_t> wave(nFrames);
    for (size_t i = 0; i < nFrames; ++i) wave[i] = static_cast<int16_t>(i * 257 + 1);
    return wave;
}

FontSpec SimpleFont(const FontSpec::Gens& gens) {
    FontSpec spec;
    spec.wave = MakeRamp(200);
    spec.samples.resize(1);
    FontSpec::Zone zone{gens};
    zone.gens.emplace_back(uint16_t{53}, 0);
    spec.instruments = {{"Instrument", {zone}}};
    spec.presets = {{"Preset", 0, 0, {{{{uint16_t{41}, 0}}}}}};
    return spec;
}

std::vector<FontChunkBytes> MakeFontChunks(const FontSpec& spec) {
    std::vector<FontChunkBytes> chunks = {
        {"INFO", "ifil", Writer().Word(spec.nMajor).Word(spec.nMinor).Get()},
        {"INFO", "isng", TextBody("Bank")},
        {"INFO", "INAM", TextBody(spec.strName)}};
    if (!spec.strCopyright.empty()) chunks.push_back({"INFO", "ICOP", TextBody(spec.strCopyright)});
    chunks.push_back({"sdta", "smpl", WaveBody(spec.wave)});
    if (spec.low) chunks.push_back({"sdta", "sm24", *spec.low});
    Writer presets, instruments;
    ZoneWriter presetZones, instrumentZones;
    for (const FontSpec::Preset& preset : spec.presets) {
        presets.Name(preset.strName).Word(preset.nProgram).Word(preset.nBank).Word(presetZones.nBags);
        presets.Raw(Bytes(12));
        for (const FontSpec::Zone& zone : preset.zones) presetZones.Add(zone);
    }
    presets.Name("EOP").Long(0).Word(presetZones.nBags).Raw(Bytes(12));
    for (const FontSpec::Instrument& instrument : spec.instruments) {
        instruments.Name(instrument.strName).Word(instrumentZones.nBags);
        for (const FontSpec::Zone& zone : instrument.zones) instrumentZones.Add(zone);
    }
    instruments.Name("EOI").Word(instrumentZones.nBags);
    presetZones.End();
    instrumentZones.End();
    chunks.push_back({"pdta", "phdr", presets.Get()});
    AddZones(chunks, "p", presetZones);
    chunks.push_back({"pdta", "inst", instruments.Get()});
    AddZones(chunks, "i", instrumentZones);
    chunks.push_back({"pdta", "shdr", SampleRows(spec.samples)});
    return chunks;
}

Bytes AssembleFont(const std::vector<FontChunkBytes>& chunks) {
    Writer lists;
    for (size_t i = 0; i < chunks.size();) {
        const std::string& strList = chunks[i].strList;
        Writer list;
        list.Raw({strList.begin(), strList.end()});
        for (; i < chunks.size() && chunks[i].strList == strList; ++i)
            list.Chunk(chunks[i].strTag, chunks[i].body);
        lists.Chunk("LIST", list.Get());
    }
    Bytes form = {'s', 'f', 'b', 'k'};
    form.insert(form.end(), lists.Get().begin(), lists.Get().end());
    return Writer().Chunk("RIFF", form).Get();
}

Bytes MakeFont(const FontSpec& spec) { return AssembleFont(MakeFontChunks(spec)); }

Bytes& BodyOf(std::vector<FontChunkBytes>& chunks, const std::string& strTag) {
    const auto it = std::find_if(chunks.begin(), chunks.end(),
                                 [&](const FontChunkBytes& chunk) { return chunk.strTag == strTag; });
    if (it == chunks.end()) throw std::logic_error("no chunk " + strTag);
    return it->body;
}

}  // namespace Kestrova::Test
