// SpaceText.h - sizes and progress as the dialog writes them.
#pragma once

#include "shared/System/kvString.h"

namespace Kestrova {

// Space that a choice of rates needs, or frees when negative, in MiB: "%d M", "%d G", "%d M to free",
// "%d G to free". Deliberately (Q110), needed gigabytes are rounded and freed ones truncated: 1536 is "2 G",
// -1536 is "1 G to free".
String RequiredSpaceText(int nMegabytes);

// Space left on a disk, in MiB: "%d M" or, truncated, "%d G". Gigabytes deliberately (Q111) begin at 1025
// here but at 1024 above.
String FreeSpaceText(int nMegabytes);

// How far a job is. Deliberately (Q112) a part of 99.9, computed in single precision, so that a finished job
// reads "99.9%". A job without steps reads "0.0%".
String ProgressPercentText(int nStep, int nSteps);

}  // namespace Kestrova
