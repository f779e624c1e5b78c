// Comparison.h - rows in which ours and its peers do the same work. They take turns, so that whatever else
// the machine does hits all alike, and one line is printed for each turn. bench/run makes the table of it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Kestrova::Bench {

// One turn of a contender: its figure in the unit of its row; none when the work failed.
using Turn = std::function<std::optional<double>()>;

struct Contender {
    std::string strName;  // "ours", or the peer with its setting
    Turn turn;
};

struct ComparisonRow {
    std::string strName;
    std::string strUnit;  // one that ends in "/s" is better the larger it is, all others the smaller
    // The contenders with what they work on; it lives as long as the row is measured.
    std::function<std::vector<Contender>()> make;
};

// What the command line asks for.
struct ComparisonSize {
    bool bQuick = false;  // small inputs, one call a turn: shows that every row works, not how fast it is
};

// Turns that are timed by the processor time of this process, which other programs do not lengthen. The work
// is repeated until it has taken long enough to be measured (once with bQuick).
//   amount: what one call handles, in the unit of the row: with 2 and "MB/s", two megabytes
Turn RateTurn(ComparisonSize size, double amount, std::function<bool()> work);
// Milliseconds of one call, which is made once; `prepare` runs before it and is not timed.
Turn MillisecondsTurn(std::function<bool()> prepare, std::function<bool()> work);

// PROGRAM [--quick] [--rounds N] [--rows REGEX] [--list]: measures the rows whose names the expression is
// found in, or lists the names. Every contender has one turn first that is not counted, then N (5) turns.
// Prints "ROW<tab>UNIT<tab>CONTENDER<tab>FIGURE" for each. The status to end with: 0, 1 when a contender
// failed, 2 for a wrong call.
int RunComparison(int argc, char** argv,
                  const std::function<std::vector<ComparisonRow>(ComparisonSize)>& rowsOf);

}  // namespace Kestrova::Bench
