// InstrumentImport.h - makes a source bank of an instrument in another format, on a thread of its own.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "import/ImportOutcome.h"

namespace Kestrova {

// The bank gets its name when it is whole and on the disk; under a name that is taken by then it is not made.
// Threads: made, asked and destroyed on one thread. The work is done on another, which touches nothing else.
// Errors:  the outcome.
class InstrumentImport {
public:
    // Starts. The output's folder must exist.
    InstrumentImport(std::string strInput, std::string strOutput);
    // Stops the work and waits for its end.
    ~InstrumentImport();
    InstrumentImport(const InstrumentImport&) = delete;
    InstrumentImport& operator=(const InstrumentImport&) = delete;

    void Stop() { m_bStop = true; }
    const std::string& GetInput() const { return m_strInput; }
    const std::string& GetOutput() const { return m_strOutput; }
    double GetFraction() const { return m_fraction; }  // of the frames written, 0 to 1
    bool HasEnded() const { return m_bEnded; }
    // REQUIRES: it has ended.
    const ImportOutcome& GetOutcome() const { return m_outcome; }

private:
    ImportOutcome Run();
    ImportWatch Watch();

    const std::string m_strInput, m_strOutput;
    std::atomic<bool> m_bStop{false}, m_bEnded{false};
    std::atomic<double> m_fraction{0};
    ImportOutcome m_outcome;
    std::thread m_thread;  // last: it uses all the others
};

}  // namespace Kestrova
