#include "tools/kvbank/BuildCommand.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "bank/HelperThreads.h"
#include "tools/kvbank/build/BatchReporter.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

// Each source at once takes three threads and some open files.
constexpr unsigned kMostAtOnce = 64;

// For "--wait" without a value the parser gives "true": wait without a time limit.
constexpr const char* kNoLimit = "true";
constexpr std::chrono::seconds kForEver = std::chrono::hours(24 * 365 * 100);

std::chrono::seconds ParseWait(const std::string& strWait) {
    if (strWait == kNoLimit) return kForEver;
    uint32_t nSeconds = 0;
    const char* const pEnd = strWait.data() + strWait.size();
    const auto [pStop, error] = std::from_chars(strWait.data(), pEnd, nSeconds);
    if (error != std::errc() || pStop != pEnd)
        throw CLI::ValidationError("'" + strWait + "': give a number of seconds, or none");
    return std::min<std::chrono::seconds>(std::chrono::seconds(nSeconds), kForEver);
}

}  // namespace

void BuildCommand::Describe(CLI::App& verb) {
    verb.add_option("SOURCE", m_sources, "the source bank; or several")->required();
    verb.add_option("-d,--dir", m_options.strFolder, "the folder for the banks; made when it is missing")
        ->type_name("DIR")
        ->required();
    AddRateOption(verb, m_options.arRates);
    AddLayoutOption(verb, m_options.layout);
    CLI::Option* const pQuality =
        verb.add_option("--quality", m_options.nQuality,
                        "quality of the standard conversion: 0 is linear, 2 is cubic, 7 (default) is the "
                        "best")
            ->check(CLI::Range(0, kHighestQuality))
            ->type_name("0..7");
    AddConversionOptions(verb, m_options.conversion, pQuality);
    verb.add_option("--jobs", m_nAtOnce,
                    "sources built at once (default 1, which already uses all processors); more are faster "
                    "where the sources are small or the disk is slow to sync")
        ->check(CLI::Range(1u, kMostAtOnce))
        ->type_name("N");
    verb.add_flag("-f,--force", m_options.bForce, "build also banks that are there already, stale ones too");
    verb.add_flag(
        "--sums", m_options.bSums,
        "also write the SHA-256 sum of each bank it builds to NAME.sha256 beside it, for verify and "
        "sha256sum -c");
    verb.add_flag("-n,--dry-run", m_options.bDryRun, "only say what would be done");
    verb.add_flag("--ignore-space", m_options.bIgnoreSpace, "build even if the free space seems too small");
    verb.add_flag("--wait", m_strWait,
                  "wait while another process builds these banks; --wait=SECONDS: at most that long")
        ->each([this](const std::string& strWait) { m_options.wait = ParseWait(strWait); });
}

int BuildCommand::Run(Console& console) {
    m_options.bEngineNumbers = console.bVerbose || console.bJson;
    return m_sources.size() == 1 ? RunOne(console) : RunMany(console);
}

int BuildCommand::RunOne(Console& console) {
    m_options.strSource = m_sources.front();
    BuildReporter reporter(console, m_options);
    return reporter.Finish(SourceBuild(console, m_options, reporter, HelperThreadCount()).Run());
}

int BuildCommand::RunMany(Console& console) {
    BuildBatch batch(console, m_options, m_sources);
    BatchReporter reporter(console, m_sources.size());
    const std::vector<BuildBatch::Clash> clashes = batch.FindClashes();
    for (const BuildBatch::Clash& clash : clashes) reporter.Tell(clash, m_options.strFolder);
    if (!clashes.empty()) return console.Finish("build", kExitUsage);
    const ExitCode code = batch.Run(m_nAtOnce, reporter);
    return reporter.Finish(code, batch.Outcomes());
}

}  // namespace Kestrova
