// SDBIStructure.h - the structural records: information, preset, bank, program, region and layer.
// A program's parent is its bank, a region's its program, a layer's its region; a layer names its sample.
// Every class holds its fields in m_info, whose member initialisers are the defaults of a fresh record, and
// encodes them in the order of m_info; the tail m_pars comes last.
#pragma once

#include <cstdint>

#include "SamplerDBDS/DataBase/SDBRecord.h"

namespace Kestrova {

// A record that ends with a tail of unknown parameters.
class CSDBITailed : public CSDBInterpreter {
public:
    CDataContainer* GetParametersCopy() override;

    StgPars m_pars;

protected:
    using CSDBInterpreter::CSDBInterpreter;
};

// Read, Write and GetSize of a record that is one list of fields: TRecord::Fields names them once, in file
// order, and a decoder, an encoder or a counter walks that list.
template <class TRecord>
class CSDBIRecord : public CSDBITailed {
public:
    using CSDBInterpreter::Read;
    using CSDBInterpreter::Write;

    bool Read(CXFile* file, unsigned long size) override;
    bool Write(CXFile* file) override;
    unsigned long GetSize() override;

protected:
    using CSDBITailed::CSDBITailed;
};

// Type 0: what the file is.
class CSDBIInfo : public CSDBIRecord<CSDBIInfo> {
public:
    struct Info {
        char szName[256] = {};
        char szDescription[256] = {};  // a built bank says "PC Version"
        uint32_t nSampleRate = 0;      // of the bank's waves, Hz
        uint32_t nPerKey = 0;          // not 0 when split regions were expanded to one for each key
        uint32_t nThird = 0;
        uint32_t nFourth = 0;
    };

    CSDBIInfo(uint32_t id, uint32_t parentID) : CSDBIRecord(kSdbInfo, id, parentID) { Clear(true); }

    // Sets the defaults. `constructing` means that the record owns nothing yet. The same in every class
    // below.
    void Clear(bool constructing);

    int Compare(CSDBInterpreter& other) override;  // must never be called: ends the program
    bool PutData(CDataContainer* container) override;

    Info m_info;

private:
    friend class CSDBIRecord<CSDBIInfo>;
    template <class TSelf, class TCodec>
    static bool Fields(TSelf& self, TCodec& codec);
};

// Type 16.
class CSDBIPreset : public CSDBIRecord<CSDBIPreset> {
public:
    struct Info {
        char szName[256] = {};
        uint32_t nFirst = 0;
    };

    CSDBIPreset(uint32_t id, uint32_t parentID) : CSDBIRecord(kSdbPreset, id, parentID) { Clear(true); }
    void Clear(bool constructing);

    int Compare(CSDBInterpreter& other) override;  // by first value, then name

    Info m_info;

private:
    friend class CSDBIRecord<CSDBIPreset>;
    template <class TSelf, class TCodec>
    static bool Fields(TSelf& self, TCodec& codec);
};

// Type 17.
class CSDBIBank : public CSDBIRecord<CSDBIBank> {
public:
    struct Info {
        char szName[256] = {};
        uint32_t nFirst = 0;
        uint32_t nSecond = 0;
    };

    CSDBIBank(uint32_t id, uint32_t parentID) : CSDBIRecord(kSdbBank, id, parentID) { Clear(true); }
    void Clear(bool constructing);

    int Compare(CSDBInterpreter& other) override;  // by first value, then name

    Info m_info;

private:
    friend class CSDBIRecord<CSDBIBank>;
    template <class TSelf, class TCodec>
    static bool Fields(TSelf& self, TCodec& codec);
};

// Type 18.
class CSDBIProgram : public CSDBIRecord<CSDBIProgram> {
public:
    struct Info {
        char szName[256] = {};
        uint32_t nFirst = 0;
        uint32_t nSecond = 0;
        uint32_t nThird = 1;
    };

    CSDBIProgram(uint32_t id, uint32_t parentID) : CSDBIRecord(kSdbProgram, id, parentID) { Clear(true); }
    void Clear(bool constructing);

    // True for a program whose regions the per-key layout expands into one region per key.
    bool IsSplit() const { return m_info.nSecond == 0 && m_info.nThird != 0; }

    int Compare(CSDBInterpreter& other) override;  // by first value, then name

    Info m_info;

private:
    friend class CSDBIRecord<CSDBIProgram>;
    template <class TSelf, class TCodec>
    static bool Fields(TSelf& self, TCodec& codec);
};

// Type 19.
class CSDBIRegion : public CSDBIRecord<CSDBIRegion> {
public:
    struct Info {
        char szName[256] = {};
        int32_t nLowKey = 0;
        // quirk (Q76): above the range of the other defaults; fresh regions store it so
        int32_t nHighKey = 255;
        int32_t nThird = 1;
        int32_t nFourth = 127;
    };

    CSDBIRegion(uint32_t id, uint32_t parentID) : CSDBIRecord(kSdbRegion, id, parentID) { Clear(true); }
    void Clear(bool constructing);

    int Compare(CSDBInterpreter& other) override;  // by the four values, signed, then name

    Info m_info;

private:
    friend class CSDBIRecord<CSDBIRegion>;
    template <class TSelf, class TCodec>
    static bool Fields(TSelf& self, TCodec& codec);
};

// Type 20. It has no name. The parameter block lies between nFourth and nSampleID.
class CSDBILayer : public CSDBIRecord<CSDBILayer> {
public:
    struct Info {
        uint32_t nFirst = 0;
        uint32_t nSecond = 64;
        uint32_t nThird = 1;
        uint32_t nFourth = 0;
        uint32_t nSampleID = kSdbNoID;  // the sample record this layer plays
    };

    CSDBILayer(uint32_t id, uint32_t parentID) : CSDBIRecord(kSdbLayer, id, parentID) { Clear(true); }
    void Clear(bool constructing);

    int Compare(CSDBInterpreter& other) override;  // by note ID, unsigned

    Info m_info;
    CStgBlock m_params;  // its own first 4 bytes repeat its size; kept as it came where they do not

private:
    friend class CSDBIRecord<CSDBILayer>;
    template <class TSelf, class TCodec>
    static bool Fields(TSelf& self, TCodec& codec);
};

}  // namespace Kestrova
