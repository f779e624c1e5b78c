// The stage that writes the samples: made ahead by helper threads, written in order by the worker.
#include "bank/BankWriter.h"
#include "bank/OrderedPipeline.h"
#include "bank/SampleMaker.h"

namespace Kestrova {

BankOutcome BankWriter::CreateSamples() {
    return m_source.IsEnriched() ? CreateSamples<CSDBISampleEUWave>() : CreateSamples<CSDBISampleWave>();
}

template <class TSource>
BankOutcome BankWriter::CreateSamples() {
    const std::span<const tagSampleEntry> samples = m_analysis.GetSamples();
    SampleMaker<TSource> maker(m_source.Database(), samples.data(), static_cast<uint32_t>(samples.size()),
                               m_source.GetFolder().c_str(),
                               {m_order.nRate, m_order.nQuality, m_order.IsPerKey(), m_order.pConverter},
                               m_order.nHelpers);
    OrderedPipeline<MadeSample> pipeline(
        maker.GetCount(), m_order.nHelpers, m_order.nHelpers + 1,
        [&maker](size_t nJob, unsigned nHelper) { return maker.Make(nJob, nHelper); });
    for (size_t nJob = 0; nJob < maker.GetCount(); ++nJob) {
        const MadeSample made = pipeline.Take();
        if (!made.outcome.IsDone()) return made.outcome;
        const BankOutcome outcome = AddToTarget(*made.pRecord, samples[made.nEntry].id);
        if (!outcome.IsDone()) return outcome;
        m_ids.Set(made.nEntry, made.nKey, made.pRecord->GetID());
    }
    return {};
}

}  // namespace Kestrova
