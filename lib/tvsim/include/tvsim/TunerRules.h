#pragma once
// What an analog tuner of a scenario receives: one set of rules for tvsim's capture filter and
// the card driver, so that both find a signal on the same channels and stations.

#include "tvsim/Scenario.h"

namespace tvsim {

// The FM synthesizer tunes in 10 kHz steps, so a frequency computed in floating point and
// truncated to Hz (95.7 MHz arriving as 95699999) lands on the intended raster point.
long fmRasterPoint(long hertz);
bool fmInBand(const TvTunerSpec& tuner, long rasterHertz);
// A station is received when the tuner is within 50 kHz of it; 100 kHz off is the next channel.
bool fmStationReceived(const TvTunerSpec& tuner, long rasterHertz);

// The mode a put_Mode(requested) switches the tuner to, in AMTunerModeType's values (default 0,
// TV 1, FM radio 2): the default is TV where the tuner has it. 0 when the tuner lacks the mode.
long resolvedTunerMode(const TvTunerSpec& tuner, long requested);

bool tvChannelInRange(const TvTunerSpec& tuner, long channel);
bool tvChannelHasSignal(const TvTunerSpec& tuner, long channel, bool cable);

} // namespace tvsim
