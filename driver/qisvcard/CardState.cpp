#include "CardState.h"

#include <algorithm>

#include "tvsim/TunerRules.h"

namespace qisvcard {

using Lock = std::lock_guard<std::mutex>;

CardState::CardState(const tvsim::FilterSpec& card) : card_(card) {
    if (card_.tuner) {
        mode_ = tuner().tvMode ? AMTUNER_MODE_TV : AMTUNER_MODE_FM_RADIO;
        inputType_ = static_cast<TunerInputType>(tuner().inputType);
        channel_ = tuner().minChannel;
        frequency_ = tvsim::fmRasterPoint(tuner().minFrequency);
    }
    if (card_.crossbar)
        for (const auto& output : card_.crossbar->outputs) routes_.push_back(output.routedFrom);
}

// ---- tuner ----

HRESULT CardState::setMode(AMTunerModeType mode) {
    Lock lock(mutex_);
    const auto wanted = static_cast<AMTunerModeType>(tvsim::resolvedTunerMode(tuner(), mode));
    if (!wanted) return E_INVALIDARG;
    if (wanted != mode_) {
        mode_ = wanted;
        tunedAt_ = Clock::now();
    }
    return S_OK;
}

AMTunerModeType CardState::mode() const {
    Lock lock(mutex_);
    return mode_;
}

long CardState::availableModes() const {
    return (tuner().tvMode ? AMTUNER_MODE_TV : 0) | (tuner().fmMode ? AMTUNER_MODE_FM_RADIO : 0);
}

HRESULT CardState::tune(long channel) {
    Lock lock(mutex_);
    if (mode_ == AMTUNER_MODE_FM_RADIO) {
        const long hertz = tvsim::fmRasterPoint(channel);
        if (!tvsim::fmInBand(tuner(), hertz)) return E_INVALIDARG;
        frequency_ = hertz;
    } else {
        if (!tvsim::tvChannelInRange(tuner(), channel)) return E_INVALIDARG;
        channel_ = channel;
    }
    tunedAt_ = Clock::now();
    return S_OK;
}

HRESULT CardState::autoTune(long channel, bool& found) {
    const HRESULT hr = tune(channel);
    if (FAILED(hr)) return hr;
    {
        Lock lock(mutex_);
        tunedAt_ -= std::chrono::milliseconds(tuner().lockMilliseconds);
    }
    found = signalPresent();
    return S_OK;
}

long CardState::tuned() const {
    Lock lock(mutex_);
    return mode_ == AMTUNER_MODE_FM_RADIO ? frequency_ : channel_;
}

void CardState::channelRange(long& low, long& high) const {
    Lock lock(mutex_);
    const bool fm = mode_ == AMTUNER_MODE_FM_RADIO;
    low = fm ? tuner().minFrequency : tuner().minChannel;
    high = fm ? tuner().maxFrequency : tuner().maxChannel;
}

HRESULT CardState::setInputType(long index, TunerInputType type) {
    if (index != 0 || (type != TunerInputCable && type != TunerInputAntenna)) return E_INVALIDARG;
    Lock lock(mutex_);
    if (type != inputType_) {
        inputType_ = type;
        tunedAt_ = Clock::now();
    }
    return S_OK;
}

HRESULT CardState::inputType(long index, TunerInputType& type) const {
    if (index != 0) return E_INVALIDARG;
    Lock lock(mutex_);
    type = inputType_;
    return S_OK;
}

void CardState::setCountry(long country) {
    Lock lock(mutex_);
    country_ = country;
}

long CardState::country() const {
    Lock lock(mutex_);
    return country_;
}

long CardState::tvFormat() const { return tuner().tvFormat; }

bool CardState::signalPresent() const {
    Lock lock(mutex_);
    return signalLocked();
}

// Called with the lock held.
bool CardState::signalLocked() const {
    if (Clock::now() - tunedAt_ < std::chrono::milliseconds(tuner().lockMilliseconds)) return false;
    if (mode_ == AMTUNER_MODE_FM_RADIO) return tvsim::fmStationReceived(tuner(), frequency_);
    return tvsim::tvChannelHasSignal(tuner(), channel_, inputType_ == TunerInputCable);
}

// ---- crossbar ----

long CardState::outputCount() const { return static_cast<long>(card_.crossbar->outputs.size()); }
long CardState::inputCount() const { return static_cast<long>(card_.crossbar->inputs.size()); }

bool CardState::validPin(bool input, long index) const {
    return index >= 0 && index < (input ? inputCount() : outputCount());
}

bool CardState::canRoute(long output, long input) const {
    if (!validPin(false, output) || !validPin(true, input)) return false;
    const auto& routes = card_.crossbar->inputs[static_cast<std::size_t>(input)].routesTo;
    return std::find(routes.begin(), routes.end(), output) != routes.end();
}

HRESULT CardState::route(long output, long input) {
    if (!validPin(false, output) || !validPin(true, input)) return E_INVALIDARG;
    if (!canRoute(output, input)) return S_FALSE;
    Lock lock(mutex_);
    routes_[static_cast<std::size_t>(output)] = input;
    return S_OK;
}

long CardState::routedTo(long output) const {
    Lock lock(mutex_);
    return routes_[static_cast<std::size_t>(output)];
}

void CardState::pinInfo(bool input, long index, long& related, long& physicalType) const {
    const auto at = static_cast<std::size_t>(index);
    related = input ? card_.crossbar->inputs[at].related : card_.crossbar->outputs[at].related;
    physicalType = input ? card_.crossbar->inputs[at].physicalType : card_.crossbar->outputs[at].physicalType;
}

// Called with the lock held. Without a crossbar the tuner feeds the decoder directly.
bool CardState::tunerRouted() const {
    if (!card_.crossbar) return true;
    return std::any_of(routes_.begin(), routes_.end(), [&](long input) {
        return input >= 0 && card_.crossbar->inputs[static_cast<std::size_t>(input)].physicalType == PhysConn_Video_Tuner;
    });
}

bool CardState::videoRouted() const {
    if (!card_.crossbar) return true;
    return std::any_of(routes_.begin(), routes_.end(), [&](long input) {
        return input >= 0 && card_.crossbar->inputs[static_cast<std::size_t>(input)].physicalType < PhysConn_Audio_Tuner;
    });
}

// ---- picture ----

tvsim::Picture CardState::picture() const {
    Lock lock(mutex_);
    if (!card_.tuner) return tvsim::Picture{videoRouted(), L"External video"};
    const bool signal = mode_ == AMTUNER_MODE_TV && tunerRouted() && signalLocked();
    if (!signal) return tvsim::Picture{};
    return tvsim::Picture{true, tvsim::channelLabel(channel_, inputType_ == TunerInputCable).wide()};
}

} // namespace qisvcard
