#include "tvsim/TunerRules.h"

#include <cstdlib>

namespace tvsim {
namespace {

constexpr long kFmStepHz = 10000;
constexpr long kFmReceptionHz = 50000;

} // namespace

long fmRasterPoint(long hertz) {
    const long long step = kFmStepHz;
    return static_cast<long>((static_cast<long long>(hertz) + step / 2) / step * step);
}

bool fmInBand(const TvTunerSpec& tuner, long rasterHertz) {
    return rasterHertz >= tuner.minFrequency && rasterHertz <= tuner.maxFrequency;
}

bool fmStationReceived(const TvTunerSpec& tuner, long rasterHertz) {
    for (const long station : tuner.fmSignal)
        if (std::abs(station - rasterHertz) <= kFmReceptionHz) return true;
    return false;
}

bool tvChannelInRange(const TvTunerSpec& tuner, long channel) {
    return channel >= tuner.minChannel && channel <= tuner.maxChannel;
}

bool tvChannelHasSignal(const TvTunerSpec& tuner, long channel, bool cable) {
    const auto& channels = cable ? tuner.cableSignal : tuner.antennaSignal;
    return channels.count(channel) != 0;
}

long resolvedTunerMode(const TvTunerSpec& tuner, long requested) {
    constexpr long kDefault = 0, kTv = 1, kFmRadio = 2;
    const long wanted = requested == kDefault ? (tuner.tvMode ? kTv : kFmRadio) : requested;
    const bool available = (wanted == kTv && tuner.tvMode) || (wanted == kFmRadio && tuner.fmMode);
    return available ? wanted : 0;
}

} // namespace tvsim
