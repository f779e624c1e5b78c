#include "app/SpaceText.h"

namespace Kestrova {
namespace {

constexpr int kMegabytesPerGigabyte = 1024;
constexpr int kFirstFreeGigabyte = 1025;
constexpr float kFullScale = 99.9f;

}  // namespace

String RequiredSpaceText(int nMegabytes) {
    if (nMegabytes <= -kMegabytesPerGigabyte)
        return String::NewWithFormat("%d G to free", -(nMegabytes / kMegabytesPerGigabyte));
    if (nMegabytes < 0) return String::NewWithFormat("%d M to free", -nMegabytes);
    if (nMegabytes < kMegabytesPerGigabyte) return String::NewWithFormat("%d M", nMegabytes);
    const int nWhole = nMegabytes / kMegabytesPerGigabyte, nRest = nMegabytes % kMegabytesPerGigabyte;
    return String::NewWithFormat("%d G", nWhole + (nRest >= kMegabytesPerGigabyte / 2));
}

String FreeSpaceText(int nMegabytes) {
    if (nMegabytes >= kFirstFreeGigabyte)
        return String::NewWithFormat("%d G", nMegabytes / kMegabytesPerGigabyte);
    return String::NewWithFormat("%d M", nMegabytes);
}

String ProgressPercentText(int nStep, int nSteps) {
    if (nSteps == 0) return "0.0%";
    // Deliberate (Q113): the percentage is computed in single precision.
    const float fPercent = static_cast<float>(nStep) * kFullScale / static_cast<float>(nSteps);
    return String::NewWithFormat("%2.1f%%", static_cast<double>(fPercent));
}

}  // namespace Kestrova
