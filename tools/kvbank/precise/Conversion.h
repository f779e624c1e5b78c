// Conversion.h - which conversion of waves is asked for, and how that is written on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <memory>

#include "bank/WaveConverter.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// In the order in which verify tries them.
enum class Conversion {
    Standard,  // the engine's own
    Precise,
    PreciseDithered
};
inline constexpr std::array kConversions = {Conversion::Standard, Conversion::Precise,
                                            Conversion::PreciseDithered};

// "standard" or "precise", whether with dither or not.
const char* ConversionName(Conversion conversion);
// "precise conversion, with dither", for sentences.
const char* ConversionText(Conversion conversion);

// Puts "conversion", and "dither" where it was asked for, into a document.
void TellConversion(Conversion conversion, Json& document);

// Null for the engine's own.
std::unique_ptr<const IWaveConverter> MakeConverter(Conversion conversion);

// Adds "--conversion standard|precise" and "--dither", which needs the precise one. pQuality, when given, is
// the verb's option for the quality of the standard conversion, which the precise one refuses.
void AddConversionOptions(CLI::App& verb, Conversion& conversion, const CLI::Option* pQuality = nullptr);

}  // namespace Kestrova
