#include "bank/Interpolator.h"

#include <cstddef>

#include "bank/resample/FilterKernel.h"
#include "bank/resample/ResampleLoops.h"

namespace Kestrova {

static_assert(offsetof(_Args, nStep) == 12 && offsetof(_Args, arKernelWords) == 20 &&
                  offsetof(_Args, pSource) == 40 && offsetof(_Args, pSourceEnd) == 56,
              "the record's fields keep their order");

int Interpolator::_f0s161(char* p, _Args* a) { return ScalarKernel<Mono16, SmallTable, false>(p, *a); }
int Interpolator::_f0s162(char* p, _Args* a) { return ScalarKernel<Stereo16, SmallTable, false>(p, *a); }
int Interpolator::_f0s241(char* p, _Args* a) { return ScalarKernel<Mono24, SmallTable, false>(p, *a); }
int Interpolator::_f0s242(char* p, _Args* a) { return ScalarKernel<Stereo24, SmallTable, false>(p, *a); }
int Interpolator::_f0l161(char* p, _Args* a) { return ScalarKernel<Mono16, LargeTable, false>(p, *a); }
int Interpolator::_f0l162(char* p, _Args* a) { return ScalarKernel<Stereo16, LargeTable, false>(p, *a); }
int Interpolator::_f0l241(char* p, _Args* a) { return ScalarKernel<Mono24, LargeTable, false>(p, *a); }
int Interpolator::_f0l242(char* p, _Args* a) { return ScalarKernel<Stereo24, LargeTable, false>(p, *a); }
int Interpolator::_f1s161(char* p, _Args* a) { return ScalarKernel<Mono16, SmallTable, true>(p, *a); }
int Interpolator::_f1s162(char* p, _Args* a) { return ScalarKernel<Stereo16, SmallTable, true>(p, *a); }
int Interpolator::_f1s241(char* p, _Args* a) { return ScalarKernel<Mono24, SmallTable, true>(p, *a); }
int Interpolator::_f1s242(char* p, _Args* a) { return ScalarKernel<Stereo24, SmallTable, true>(p, *a); }
int Interpolator::_f1l161(char* p, _Args* a) { return ScalarKernel<Mono16, LargeTable, true>(p, *a); }
int Interpolator::_f1l162(char* p, _Args* a) { return ScalarKernel<Stereo16, LargeTable, true>(p, *a); }
int Interpolator::_f1l241(char* p, _Args* a) { return ScalarKernel<Mono24, LargeTable, true>(p, *a); }
int Interpolator::_f1l242(char* p, _Args* a) { return ScalarKernel<Stereo24, LargeTable, true>(p, *a); }

int Interpolator::_lin161(char* p, long f) { return LinearSample<Mono16>(p, static_cast<int>(f)); }
int Interpolator::_lin162(char* p, long f) { return LinearSample<Stereo16>(p, static_cast<int>(f)); }
int Interpolator::_lin241(char* p, long f) { return LinearSample<Mono24>(p, static_cast<int>(f)); }
int Interpolator::_lin242(char* p, long f) { return LinearSample<Stereo24>(p, static_cast<int>(f)); }
int Interpolator::_cub161(char* p, long f) { return CubicSample<Mono16>(p, static_cast<int>(f)); }
int Interpolator::_cub162(char* p, long f) { return CubicSample<Stereo16>(p, static_cast<int>(f)); }
int Interpolator::_cub241(char* p, long f) { return CubicSample<Mono24>(p, static_cast<int>(f)); }
int Interpolator::_cub242(char* p, long f) { return CubicSample<Stereo24>(p, static_cast<int>(f)); }

}  // namespace Kestrova
