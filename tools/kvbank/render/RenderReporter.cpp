#include "tools/kvbank/render/RenderReporter.h"

#include <cmath>
#include <cstdio>

namespace Kestrova {
namespace {

// A number with so many digits behind its point.
std::string Fixed(double value, int nDigits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", nDigits, value);
    return text;
}

double SecondsOf(const RenderedWave& wave) { return static_cast<double>(wave.nFrames) / wave.form.nRate; }

std::string FormText(const WaveForm& form) {
    return std::to_string(form.nRate) + " Hz, " + std::to_string(form.nBits) + " bits, " +
           (form.nChannels == 1 ? "mono" : "stereo");
}

}  // namespace

RenderReporter::RenderReporter(Console& console, const std::string& strFile, const std::string& strOutput)
    : m_console(console), m_strOutput(strOutput), m_document({{"file", strFile}, {"output", strOutput}}) {}

void RenderReporter::Tell(const kvb_program& program) {
    m_strProgram =
        std::to_string(program.bank) + ":" + std::to_string(program.number) + " \"" + program.name + "\"";
    m_document["program"] = {{"bank", program.bank}, {"number", program.number}, {"name", program.name}};
}

void RenderReporter::Tell(Conversion conversion) { TellConversion(conversion, m_document); }

void RenderReporter::TellSilent(const std::set<int>& keys) {
    for (const int nKey : keys)
        m_console.Warn("key " + std::to_string(nKey) + " is left out: program " + m_strProgram +
                       " plays nothing for it");
}

void RenderReporter::Tell(const std::vector<PlayedNote>& notes, const RenderedWave& wave) {
    m_document["rate"] = wave.form.nRate;
    m_document["bits"] = wave.form.nBits;
    m_document["channels"] = wave.form.nChannels;
    m_document["frames"] = wave.nFrames;
    m_document["gain"] = wave.gain;
    m_console.Say(m_strOutput + ": program " + m_strProgram + ", " + Counted(notes.size(), "note") + ", " +
                  Counted(wave.layers.size(), "layer") + ", " + Fixed(SecondsOf(wave), 2) + " s, " +
                  FormText(wave.form));
    if (wave.gain < 1)
        m_console.Say("Lowered by " + Fixed(-20 * std::log10(wave.gain), 1) +
                      " dB, because the layers together are too loud");
    Json rows = Json::array();
    for (size_t n = 0; n < notes.size(); ++n)
        rows.push_back({{"key", notes[n].nKey},
                        {"velocity", notes[n].nVelocity},
                        {"start", notes[n].start},
                        {"layers", LayersOf(notes, n, wave)}});
    m_document["notes"] = rows;
}

Json RenderReporter::LayersOf(const std::vector<PlayedNote>& notes, size_t nNote, const RenderedWave& wave) {
    Json rows = Json::array();
    for (const PlayedLayer& layer : wave.layers) {
        if (layer.nNote != nNote) continue;
        rows.push_back({{"sample", layer.sample.id},
                        {"name", layer.sample.name},
                        {"root_key", layer.sample.root_key},
                        {"looped", layer.bLooped},
                        {"ratio", layer.ratio}});
        m_console.Detail("Key " + std::to_string(notes[nNote].nKey) + ": sample " +
                         std::to_string(layer.sample.id) + " \"" + layer.sample.name + "\", root key " +
                         std::to_string(layer.sample.root_key) + ", " + Fixed(layer.ratio, 6) +
                         " frames for each one played" + (layer.bLooped ? ", looped" : ""));
    }
    return rows;
}

int RenderReporter::Finish(const Ending& ending) {
    if (!ending.IsDone()) m_console.Error(ending.strError);
    return m_console.Finish("render", ending.code, m_document);
}

}  // namespace Kestrova
