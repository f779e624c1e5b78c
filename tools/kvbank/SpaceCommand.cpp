#include "tools/kvbank/SpaceCommand.h"

#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {

void SpaceCommand::Describe(CLI::App& verb) {
    verb.add_option("SOURCE", m_options.strSource, "the source bank")->required();
    verb.add_option("-d,--dir", m_options.strFolder, "the folder that the banks are for")
        ->type_name("DIR")
        ->required();
    AddRateOption(verb, m_options.arRates);
    AddLayoutOption(verb, m_options.layout);
    AddConversionOptions(verb, m_options.conversion);
    verb.add_flag("-f,--force", m_options.bForce, "as for build: banks that are there would be built again");
}

int SpaceCommand::Run(Console& console) {
    SpaceReporter reporter(console, m_options);
    if (const ExitCode code = m_run.OpenSource(console, m_options.strSource); code != kExitDone)
        return reporter.Finish(code);
    const std::unique_ptr<const IWaveConverter> pConverter = MakeConverter(m_options.conversion);
    m_run.Engine().SetWaveConverter(pConverter.get());
    BankOrigin origin(m_run.Engine(), m_options.strSource);
    return reporter.Finish(reporter.Tell(MeasureSpace(m_options, m_run.Engine(), origin)));
}

}  // namespace Kestrova
