#pragma once
// What the card is set to (tuner mode, channel, input, crossbar routes) and what follows from it:
// whether the tuner has a signal and which picture the capture pins deliver. The tuner and the
// crossbar change it on the graph's thread while the streaming threads read it, hence the lock.

#include <windows.h>

#include <chrono>
#include <mutex>
#include <vector>

#include "tunekit/DirectShow.h"
#include "tvsim/Picture.h"
#include "tvsim/Scenario.h"

namespace qisvcard {

class CardState {
public:
    explicit CardState(const tvsim::FilterSpec& card);

    bool hasTuner() const { return card_.tuner.has_value(); }
    bool hasCrossbar() const { return card_.crossbar.has_value(); }

    // ---- tuner ----
    HRESULT setMode(AMTunerModeType mode);
    AMTunerModeType mode() const;
    long availableModes() const;
    // A TV channel in TV mode, a frequency in Hz in FM mode.
    HRESULT tune(long channel);
    // As tune(), then waits out the lock time: the answer is whether a signal was found.
    HRESULT autoTune(long channel, bool& found);
    long tuned() const;
    void channelRange(long& low, long& high) const;
    HRESULT setInputType(long index, TunerInputType type);
    HRESULT inputType(long index, TunerInputType& type) const;
    void setCountry(long country);
    long country() const;
    long tvFormat() const;
    bool signalPresent() const;

    // ---- crossbar ----
    long outputCount() const;
    long inputCount() const;
    bool validPin(bool input, long index) const;
    bool canRoute(long output, long input) const;
    HRESULT route(long output, long input);
    long routedTo(long output) const;
    void pinInfo(bool input, long index, long& related, long& physicalType) const;

    // ---- what the video shows now ----
    tvsim::Picture picture() const;

private:
    using Clock = std::chrono::steady_clock;

    const tvsim::TvTunerSpec& tuner() const { return *card_.tuner; }
    bool signalLocked() const;
    bool tunerRouted() const;
    bool videoRouted() const;

    const tvsim::FilterSpec card_;
    mutable std::mutex mutex_;
    AMTunerModeType mode_ = AMTUNER_MODE_TV;
    TunerInputType inputType_ = TunerInputCable;
    long channel_ = 0;
    long frequency_ = 0;
    long country_ = 1;
    Clock::time_point tunedAt_ = Clock::now();
    std::vector<long> routes_; // per output, the input routed there or -1
};

} // namespace qisvcard
