// Rounds.h - rounds of cancel, restart, change and quit; what all kinds of them share.
#pragma once

#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/SourceMaker.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Trust {

using Test::Bytes;
using Test::TempDir;

// The numbers of one round, all from its seed.
class Chance {
public:
    explicit Chance(unsigned nSeed) : m_random(nSeed) {}
    // 0 to n - 1.
    unsigned Below(unsigned n) { return static_cast<unsigned>(m_random() % n); }
    bool OneIn(unsigned n) { return Below(n) == 0; }
    template <class TList>
    auto& Of(TList& list) {
        return list[Below(static_cast<unsigned>(list.size()))];
    }
    // Up to so many microseconds; often none.
    void Pause(unsigned nMost);

private:
    std::mt19937 m_random;
};

// A promise that did not hold ends its round.
class Broken : public std::runtime_error {
    using runtime_error::runtime_error;
};
void Demand(bool bHolds, const std::string& strPromise);

// One kind of rounds.
class Scene {
public:
    virtual ~Scene() = default;
    // Throws Broken.
    virtual void PlayRound(Chance& chance) = 0;
};
std::unique_ptr<Scene> MakeEngineScene();
std::unique_ptr<Scene> MakeBatchScene();
std::unique_ptr<Scene> MakeWindowScene();

// A small source with its kind and its size told by the number.
Test::SourceSpec SmallSource(unsigned n);

// The file's bytes; those of its identity, which are new in every file, are zero.
Bytes BytesOf(const std::string& strPath);

// Files as they must be, by name.
class WholeFiles {
public:
    void Keep(const std::string& strPath);
    // Whether it is what a cancelled build may leave: the unfinished file of a bank that may be there.
    bool IsUnfinished(const std::string& strPath) const;
    // Each file of the folder is one of these, to the byte.
    void DemandOnlyThese(const std::string& strFolder) const;
    void DemandWhole(const std::string& strPath) const;

private:
    std::map<std::string, Bytes> m_files;
};

std::vector<std::string> NamesIn(const std::string& strFolder);

// Counts the process's open handles and threads when made; Demand throws when there are others now.
class Handles {
public:
    Handles();
    void DemandSame() const;

private:
    size_t m_nFiles, m_nThreads;
};

}  // namespace Kestrova::Trust
