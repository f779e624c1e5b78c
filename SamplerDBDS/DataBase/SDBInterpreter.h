// SDBInterpreter.h - all record interpreters of a sample database.
#pragma once

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "SamplerDBDS/DataBase/SDBIStructure.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"
