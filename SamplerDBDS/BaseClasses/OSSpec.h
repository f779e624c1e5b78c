// OSSpec.h - all of the base classes: files, byte order, identities, locks, threads and paths.
#pragma once

#include "SamplerDBDS/BaseClasses/ByteSwap.h"
#include "SamplerDBDS/BaseClasses/DBUID.h"
#include "SamplerDBDS/BaseClasses/LogErrno.h"
#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/BaseClasses/XFileReader.h"
#include "SamplerDBDS/BaseClasses/XLock.h"
#include "SamplerDBDS/BaseClasses/XThread.h"
#include "shared/System/kvPath.h"
