#include "tools/kvbank/export/SfzMap.h"

#include "shared/System/kvPrintable.h"

namespace Kestrova {
namespace {

void Put(std::string& strLine, const char* pszOpcode, int64_t nValue) {
    strLine.append(" ").append(pszOpcode).append("=").append(std::to_string(nValue));
}

// The tune raises what is played, so that it is the opposite of where the wave's pitch lies above its root
// key. The file comes last: its name may hold spaces.
std::string RegionLine(const RegionFacts& region, const SampleFacts& sample, const std::string& strFile) {
    std::string strLine = "<region>";
    Put(strLine, "lokey", region.keys.nLow);
    Put(strLine, "hikey", region.keys.nHigh);
    Put(strLine, "lovel", region.velocities.nLow);
    Put(strLine, "hivel", region.velocities.nHigh);
    Put(strLine, "pitch_keycenter", sample.nRootKey);
    Put(strLine, "tune", -int64_t{sample.nFineTune});
    strLine += sample.loop ? " loop_mode=loop_continuous" : " loop_mode=no_loop";
    if (sample.loop) {
        Put(strLine, "loop_start", sample.loop->nStart);
        Put(strLine, "loop_end", sample.loop->nEnd);
    }
    return strLine + " sample=" + strFile + "\n";
}

}  // namespace

SfzMap MakeSfzMap(const ProgramFacts& program, const BankContents& contents,
                  const std::unordered_map<uint32_t, std::string>& files) {
    SfzMap map;
    map.strText = "// " + Printable(program.strName) + "\n";
    for (const RegionFacts& region : program.regions) {
        for (const uint32_t id : region.samples) {
            const SampleFacts* const pSample = contents.Sample(id);
            const auto pFile = files.find(id);
            if (region.keys.IsEmpty() || pSample == nullptr || pFile == files.end()) {
                ++map.nLeftOut;
                continue;
            }
            map.strText += RegionLine(region, *pSample, pFile->second);
            ++map.nRegions;
        }
    }
    return map;
}

}  // namespace Kestrova
