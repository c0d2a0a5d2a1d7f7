#pragma once
// DVB-T tuning attempts for a country. The tuner's frequency map gives only centre frequencies;
// the plan pairs each with the transmission parameters broadcasters of that country use, in the
// order the DVB-T test tries them.

#include <cstdint>

#include "qis/Array.h"
#include "qis/HashTable.h"
#include "qis/String.h"

namespace qisrtvcard {

// One tuning attempt. Values are those of the BDA enumerations.
struct DVBTChannel {
    std::uint32_t frequency;         // kHz, as the frequency map gave it
    std::uint32_t modulation;        // ModulationType
    std::uint32_t transmissionMode;  // TransmissionMode
    std::uint32_t guardInterval;     // GuardInterval
    std::uint32_t codeRate;          // BinaryConvolutionCodeRate
    std::uint32_t bandwidth;         // MHz: 6, 7 or 8
};

// The records and the name tables are class-wide: one plan exists per process at a time and
// every build replaces it. Not locked; only the DVB-T test thread builds and reads it.
class DVBTChannelPlan {
public:
    using NameTable = qis::HashTable<std::uint32_t>;

    // Frequencies below this (kHz) are VHF; this one and above are UHF.
    static constexpr std::uint32_t kUhfStart = 300000;

    void buildForCountry(std::uint32_t countryCode, const std::uint32_t* frequencies, std::uint32_t count);

    // Appends one record per frequency the band admits. Names a table lacks take the usual
    // values (64QAM, 8K, 1/32, 1/2); a bandwidth other than "6" or "7" is 8 MHz.
    void addParameterSet(qis::String modulation, qis::String transmissionMode, qis::String guardInterval,
                         qis::String codeRate, qis::String bandwidth, qis::String band,
                         const std::uint32_t* frequencies, std::uint32_t count);

    static void fillNameTables();

    std::uint32_t channelCount() const;
    // Raises qis::IndexOutOfBounds(0, count - 1, index) at or past the count.
    const DVBTChannel& channel(std::uint32_t index) const;
    const DVBTChannel& operator[](std::uint32_t index) const { return channel(index); }

    std::uint32_t countryCode() const { return countryCode_; }

    static const NameTable& modulationNames() { return modulationTable(); }
    static const NameTable& transmissionModeNames() { return transmissionModeTable(); }
    static const NameTable& guardIntervalNames() { return guardIntervalTable(); }
    static const NameTable& codeRateNames() { return codeRateTable(); }

private:
    static qis::Array<DVBTChannel>& records();
    static NameTable& modulationTable();
    static NameTable& transmissionModeTable();
    static NameTable& guardIntervalTable();
    static NameTable& codeRateTable();

    std::uint32_t countryCode_ = 0;
};

} // namespace qisrtvcard
