// BankReader.h - looks into a built bank.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {

class BankReader {
public:
    explicit BankReader(const std::string& strPath)
        : m_bOpen(m_database.Open(strPath.c_str(), kSdbFormatEnriched, false)) {}

    bool IsOpen() const { return m_bOpen; }
    CSDB& Database() { return m_database; }
    std::vector<uint32_t> Ids(uint8_t nType) { return IdsOfType(m_database, nType); }

    // The record with the id, read whole; null when it cannot be.
    template <class TRecord>
    std::unique_ptr<TRecord> Read(uint32_t id) {
        auto pRecord = std::make_unique<TRecord>(id, kSdbNoID);
        return m_database.ReadWholeNote(pRecord.get()) ? std::move(pRecord) : nullptr;
    }
    template <class TRecord>
    std::vector<std::unique_ptr<TRecord>> ReadAll(uint8_t nType) {
        std::vector<std::unique_ptr<TRecord>> records;
        for (const uint32_t id : Ids(nType)) records.push_back(Read<TRecord>(id));
        return records;
    }
    // The types of all notes in file order.
    std::vector<int> Types() {
        std::vector<int> types;
        for (const uint32_t id : Ids(kSdbAny)) types.push_back(m_database.GetNoteByID(id)->nType);
        return types;
    }

private:
    CSDB m_database;
    bool m_bOpen;
};

}  // namespace Kestrova::Test
