// The stages of a creation that write the samples: made ahead by helper threads, written in order by the
// worker.
#include "bank/OrderedPipeline.h"
#include "bank/SampleMaker.h"

namespace Kestrova {

BankResult CDBEUCreate::CreateSamples() { return CreateSamplesFrom<CSDBISampleWave>(false); }
BankResult CDBEUCreate::CreateSamplesEU() { return CreateSamplesFrom<CSDBISampleEUWave>(false); }
BankResult CDBEUCreate::CreateSamplesRepr() { return CreateSamplesFrom<CSDBISampleWave>(true); }
BankResult CDBEUCreate::CreateSamplesReprEU() { return CreateSamplesFrom<CSDBISampleEUWave>(true); }

template <class TSource>
BankResult CDBEUCreate::CreateSamplesFrom(bool bPerKey) {
    SampleMaker<TSource> maker(m_dbSource, m_arSamples.get(), m_nFilled, m_strSourceFolder.c_str(),
                               {m_nRate, m_nFlags, bPerKey}, m_nHelpers);
    OrderedPipeline<MadeSample> pipeline(
        maker.GetCount(), m_nHelpers, m_nHelpers + 1,
        [&maker](size_t nJob, unsigned nHelper) { return maker.Make(nJob, nHelper); });
    for (size_t nJob = 0; nJob < maker.GetCount(); ++nJob) {
        MadeSample made = pipeline.Take();
        tagSampleEntry& entry = m_arSamples[made.nEntry];
        if (made.result != kBankDone) return Fail(made.result, kSdbSample, entry.id, made.pszCause);
        const BankResult result = AddToTarget(*made.pRecord);
        if (result == kBankWriteFailed) return Fail(result, kSdbSample, entry.id, "it cannot be written");
        if (result != kBankDone) return result;
        uint32_t& idNew =
            made.nKey == kEveryKey ? entry.newId : entry.keySlots[static_cast<size_t>(made.nKey)];
        idNew = made.pRecord->GetID();
    }
    return kBankDone;
}

}  // namespace Kestrova
