#include "tools/kvbank/precise/Conversion.h"

#include "tools/kvbank/precise/PreciseConverter.h"

namespace Kestrova {

const char* ConversionName(Conversion conversion) {
    return conversion == Conversion::Standard ? "standard" : "precise";
}

const char* ConversionText(Conversion conversion) {
    switch (conversion) {
        case Conversion::Standard: return "standard conversion";
        case Conversion::Precise: return "precise conversion";
        case Conversion::PreciseDithered: return "precise conversion, with dither";
    }
    return "";
}

void TellConversion(Conversion conversion, Json& document) {
    document["conversion"] = ConversionName(conversion);
    if (conversion == Conversion::PreciseDithered) document["dither"] = true;
}

std::unique_ptr<const IWaveConverter> MakeConverter(Conversion conversion) {
    if (conversion == Conversion::Standard) return nullptr;
    return std::make_unique<PreciseConverter>(conversion == Conversion::PreciseDithered);
}

void AddConversionOptions(CLI::App& verb, Conversion& conversion, const CLI::Option* pQuality) {
    verb.add_option_function<std::string>(
            "--conversion",
            [&conversion](const std::string& strName) {
                if (strName == ConversionName(Conversion::Precise))
                    conversion = Conversion::Precise;
                else if (strName != ConversionName(Conversion::Standard))
                    throw CLI::ValidationError("--conversion",
                                               "'" + strName + "': give 'standard' or 'precise'");
            },
            "standard (default): the instrument's own; precise: the exact ratio, loops in phase")
        ->type_name("standard|precise");
    CLI::Option* const pDither = verb.add_flag_function(
        "--dither", [](int64_t) {}, "with the precise conversion: add noise of the last bit before rounding");
    verb.parse_complete_callback([&conversion, pDither, pQuality] {
        const bool bPrecise = conversion == Conversion::Precise;
        if (pDither->count() > 0 && !bPrecise)
            throw CLI::ValidationError("--dither", "it needs --conversion precise");
        if (bPrecise && pQuality != nullptr && pQuality->count() > 0)
            throw CLI::ValidationError("--quality", "the precise conversion has one quality alone");
        if (pDither->count() > 0) conversion = Conversion::PreciseDithered;
    });
}

}  // namespace Kestrova
