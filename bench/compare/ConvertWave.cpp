// convert_wave PEER FROM TO - one channel of doubles from standard input to standard output, converted from
// one rate to another by a library of Debian, so that bench/sound can look at what it makes:
//   soxr-vhq           libsoxr, its recipe of 28 bits
//   soxr-highest       libsoxr, its recipe of 32 bits, the highest that it has
//   samplerate-best    libsamplerate, best sinc; it knows floats alone
#include <samplerate.h>
#include <soxr.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Doubles = std::vector<double>;

struct Rates {
    double from, to;
    size_t Room(size_t nFrames) const {
        return static_cast<size_t>(static_cast<double>(nFrames) * to / from) + 4096;
    }
};

// All of these give an empty wave on failure.
Doubles WithSoxr(const Doubles& source, Rates rates, unsigned long nRecipe) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(nRecipe, 0);
    Doubles made(rates.Room(source.size()));
    size_t nMade = 0;
    if (soxr_oneshot(rates.from, rates.to, 1, source.data(), source.size(), nullptr, made.data(), made.size(),
                     &nMade, &io, &quality, nullptr) != nullptr)
        return {};
    made.resize(nMade);
    return made;
}

Doubles WithSampleRate(const Doubles& source, Rates rates) {
    const std::vector<float> from(source.begin(), source.end());
    std::vector<float> made(rates.Room(source.size()));
    SRC_DATA data{};
    data.data_in = from.data();
    data.data_out = made.data();
    data.input_frames = static_cast<long>(from.size());
    data.output_frames = static_cast<long>(made.size());
    data.src_ratio = rates.to / rates.from;
    if (src_simple(&data, SRC_SINC_BEST_QUALITY, 1) != 0) return {};
    return Doubles(made.begin(), made.begin() + data.output_frames_gen);
}

Doubles ReadAll() {
    Doubles all;
    std::array<double, 4096> piece;
    while (const size_t nRead = std::fread(piece.data(), sizeof(double), piece.size(), stdin))
        all.insert(all.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(nRead));
    return all;
}

Doubles Convert(const std::string& strPeer, const Doubles& source, Rates rates) {
    if (strPeer == "soxr-vhq") return WithSoxr(source, rates, SOXR_VHQ);
    if (strPeer == "soxr-highest") return WithSoxr(source, rates, SOXR_32_BITQ);
    if (strPeer == "samplerate-best") return WithSampleRate(source, rates);
    return {};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const Doubles made = Convert(argv[1], ReadAll(), {std::atof(argv[2]), std::atof(argv[3])});
    const bool bWritten = std::fwrite(made.data(), sizeof(double), made.size(), stdout) == made.size();
    return !made.empty() && bWritten ? 0 : 1;
}
