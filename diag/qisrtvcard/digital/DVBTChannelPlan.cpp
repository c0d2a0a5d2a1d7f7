#include "digital/DVBTChannelPlan.h"

#include <initializer_list>
#include <span>
#include <utility>

#include "frame/Trace.h"

namespace qisrtvcard {
namespace {

// Always in this order: band, bandwidth, code rate, guard interval, transmission mode, modulation.
struct ParameterSet {
    const char* band;
    const char* bandwidth;
    const char* codeRate;
    const char* guardInterval;
    const char* transmissionMode;
    const char* modulation;
};

struct CountryRow {
    std::uint32_t code;
    std::span<const ParameterSet> sets;
};

// What broadcasters use, by international calling code. Identical rows (46 and 47, 370 and 371)
// are deliberate: each country keeps its own row.
constexpr ParameterSet kGreece[] = {{"UHF", "8", "3/4", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kNetherlands[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"},
                                         {"UHF", "8", "1/2", "1/4", "8K", "64QAM"}};
constexpr ParameterSet kBelgium[] = {{"UHF", "8", "1/2", "1/8", "8K", "64QAM"},
                                     {"UHF", "8", "1/2", "1/4", "8K", "64QAM"},
                                     {"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kFrance[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"},
                                    {"UHF", "8", "3/4", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kSpain[] = {{"UHF", "8", "2/3", "1/4", "8K", "64QAM"}};
constexpr ParameterSet kHungary[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kItaly[] = {{"VHF", "7", "3/4", "1/32", "8K", "64QAM"},
                                   {"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kSwitzerland[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"},
                                         {"UHF", "8", "7/8", "1/32", "8K", "64QAM"},
                                         {"UHF", "8", "5/6", "1/4", "8K", "16QAM"},
                                         {"UHF", "8", "5/6", "1/16", "8K", "16QAM"}};
constexpr ParameterSet kAustria[] = {{"UHF", "8", "3/4", "1/4", "8K", "16QAM"}};
constexpr ParameterSet kUnitedKingdom[] = {{"UHF", "8", "3/4", "1/32", "2K", "16QAM"},
                                           {"UHF", "8", "2/3", "1/32", "2K", "64QAM"}};
constexpr ParameterSet kDenmark[] = {{"UHF", "8", "2/3", "1/4", "8K", "64QAM"}};
constexpr ParameterSet kSweden[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kNorway[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kPoland[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"},
                                    {"UHF", "8", "2/3", "1/32", "8K", "16QAM"}};
constexpr ParameterSet kGermany[] = {{"VHF", "7", "2/3", "1/8", "8K", "16QAM"},
                                     {"UHF", "8", "2/3", "1/8", "8K", "16QAM"},
                                     {"VHF", "7", "3/4", "1/4", "8K", "16QAM"},
                                     {"UHF", "8", "3/4", "1/4", "8K", "16QAM"},
                                     {"VHF", "7", "2/3", "1/16", "8K", "64QAM"},
                                     {"UHF", "8", "2/3", "1/16", "8K", "64QAM"},
                                     {"VHF", "7", "2/3", "1/4", "8K", "64QAM"},
                                     {"UHF", "8", "2/3", "1/4", "8K", "64QAM"}};
constexpr ParameterSet kAustralia[] = {{"ALL", "7", "3/4", "1/16", "8K", "64QAM"},
                                       {"ALL", "7", "2/3", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kNewZealand[] = {{"UHF", "8", "3/4", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kSingapore[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"},
                                       {"UHF", "8", "1/2", "1/4", "2K", "QPSK"}};
constexpr ParameterSet kFaroeIslands[] = {{"UHF", "8", "3/4", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kPortugal[] = {{"UHF", "8", "2/3", "1/4", "8K", "64QAM"}};
constexpr ParameterSet kIceland[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kFinland[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kLithuania[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kLatvia[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kEstonia[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kUkraine[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"}};
constexpr ParameterSet kSlovenia[] = {{"VHF", "7", "2/3", "1/8", "8K", "64QAM"},
                                      {"UHF", "8", "2/3", "1/8", "8K", "64QAM"},
                                      {"VHF", "7", "1/2", "1/4", "8K", "QPSK"},
                                      {"UHF", "8", "1/2", "1/4", "8K", "QPSK"}};
constexpr ParameterSet kCzechRepublic[] = {{"UHF", "8", "2/3", "1/8", "8K", "64QAM"},
                                           {"UHF", "8", "2/3", "1/16", "8K", "64QAM"}};
constexpr ParameterSet kSlovakia[] = {{"UHF", "8", "2/3", "1/32", "8K", "64QAM"},
                                      {"UHF", "8", "2/3", "1/8", "8K", "64QAM"}};
constexpr ParameterSet kTaiwan[] = {{"UHF", "6", "1/2", "1/8", "8K", "16QAM"},
                                    {"UHF", "6", "3/4", "1/8", "8K", "16QAM"},
                                    {"UHF", "6", "2/3", "1/4", "8K", "16QAM"},
                                    {"UHF", "6", "2/3", "1/8", "8K", "16QAM"}};
// Every code without a row of its own.
constexpr ParameterSet kDefault[] = {{"ALL", "8", "2/3", "1/32", "8K", "64QAM"}};

constexpr CountryRow kCountries[] = {
    {30, kGreece},         {31, kNetherlands},    {32, kBelgium},        {33, kFrance},     {34, kSpain},
    {36, kHungary},        {39, kItaly},          {41, kSwitzerland},    {43, kAustria},    {44, kUnitedKingdom},
    {45, kDenmark},        {46, kSweden},         {47, kNorway},         {48, kPoland},     {49, kGermany},
    {61, kAustralia},      {64, kNewZealand},     {65, kSingapore},      {298, kFaroeIslands}, {351, kPortugal},
    {354, kIceland},       {358, kFinland},       {370, kLithuania},     {371, kLatvia},    {372, kEstonia},
    {380, kUkraine},       {386, kSlovenia},      {420, kCzechRepublic}, {421, kSlovakia},  {886, kTaiwan},
};

std::span<const ParameterSet> setsFor(std::uint32_t countryCode) {
    for (const CountryRow& row : kCountries)
        if (row.code == countryCode) return row.sets;
    return kDefault;
}

// Checks first, then fetches: the fetch keeps the table's own contract of raising for a key it
// does not hold.
std::uint32_t valueOr(const DVBTChannelPlan::NameTable& table, const qis::String& name, std::uint32_t fallback) {
    if (!table.containsKey(name)) return fallback;
    return table.get(name);
}

void fill(DVBTChannelPlan::NameTable& table, std::initializer_list<std::pair<const char*, std::uint32_t>> rows) {
    table.clear();
    for (const auto& [name, value] : rows) table.put(name, value);
}

} // namespace

qis::Array<DVBTChannel>& DVBTChannelPlan::records() {
    static qis::Array<DVBTChannel> list;
    return list;
}

DVBTChannelPlan::NameTable& DVBTChannelPlan::modulationTable() {
    static NameTable table;
    return table;
}

DVBTChannelPlan::NameTable& DVBTChannelPlan::transmissionModeTable() {
    static NameTable table;
    return table;
}

DVBTChannelPlan::NameTable& DVBTChannelPlan::guardIntervalTable() {
    static NameTable table;
    return table;
}

DVBTChannelPlan::NameTable& DVBTChannelPlan::codeRateTable() {
    static NameTable table;
    return table;
}

void DVBTChannelPlan::fillNameTables() {
    QISRTV_TRACE("fillNameTables");
    // BDA ModulationType. Values 23 and 24 keep the spelling "8SVB" and "16SVB" that callers know
    // them by; no plan uses them.
    fill(modulationTable(), {{"16QAM", 1},   {"32QAM", 2},   {"64QAM", 3},   {"80QAM", 4},   {"96QAM", 5},
                             {"112QAM", 6},  {"128QAM", 7},  {"160QAM", 8},  {"192QAM", 9},  {"224QAM", 10},
                             {"256QAM", 11}, {"320QAM", 12}, {"384QAM", 13}, {"448QAM", 14}, {"512QAM", 15},
                             {"640QAM", 16}, {"768QAM", 17}, {"896QAM", 18}, {"1024QAM", 19}, {"QPSK", 20},
                             {"BPSK", 21},   {"OQPSK", 22},  {"8SVB", 23},   {"16SVB", 24}});
    fill(transmissionModeTable(), {{"2K", 1}, {"8K", 2}});
    fill(guardIntervalTable(), {{"1/32", 1}, {"1/16", 2}, {"1/8", 3}, {"1/4", 4}});
    fill(codeRateTable(),
         {{"1/2", 1}, {"2/3", 2}, {"3/4", 3}, {"3/5", 4}, {"4/5", 5}, {"5/6", 6}, {"5/11", 7}, {"7/8", 8}});
}

void DVBTChannelPlan::buildForCountry(std::uint32_t countryCode, const std::uint32_t* frequencies,
                                      std::uint32_t count) {
    QISRTV_TRACE("buildForCountry");
    countryCode_ = countryCode;
    fillNameTables();

    qis::Array<DVBTChannel>& list = records();
    list = qis::Array<DVBTChannel>();
    list.reserve(qis::Array<DVBTChannel>::kFirstCapacity);

    // Parameter set first, frequency second: the likeliest parameters are tried on every
    // frequency before the next set is.
    for (const ParameterSet& set : setsFor(countryCode))
        addParameterSet(set.modulation, set.transmissionMode, set.guardInterval, set.codeRate, set.bandwidth, set.band,
                        frequencies, count);
}

void DVBTChannelPlan::addParameterSet(qis::String modulation, qis::String transmissionMode, qis::String guardInterval,
                                      qis::String codeRate, qis::String bandwidth, qis::String band,
                                      const std::uint32_t* frequencies, std::uint32_t count) {
    QISRTV_TRACE("addParameterSet");
    DVBTChannel record{};
    record.modulation = valueOr(modulationTable(), modulation, 3);             // 64QAM
    record.transmissionMode = valueOr(transmissionModeTable(), transmissionMode, 2); // 8K
    record.guardInterval = valueOr(guardIntervalTable(), guardInterval, 1);     // 1/32
    record.codeRate = valueOr(codeRateTable(), codeRate, 1);                    // 1/2
    record.bandwidth = bandwidth == "6" ? 6u : bandwidth == "7" ? 7u : 8u;

    const bool vhfOnly = band == "VHF";
    const bool uhfOnly = band == "UHF";
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t frequency = frequencies[i];
        if (vhfOnly && frequency >= kUhfStart) continue;
        if (uhfOnly && frequency < kUhfStart) continue;
        record.frequency = frequency;
        records().add(record);
    }
}

std::uint32_t DVBTChannelPlan::channelCount() const {
    return static_cast<std::uint32_t>(records().size());
}

const DVBTChannel& DVBTChannelPlan::channel(std::uint32_t index) const {
    return records().get(index);
}

} // namespace qisrtvcard
