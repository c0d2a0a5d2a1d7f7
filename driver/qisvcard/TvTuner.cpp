#include "TvTuner.h"

namespace qisvcard {

STDMETHODIMP TvTuner::put_Channel(LONG channel, LONG videoSubChannel, LONG audioSubChannel) {
    const HRESULT hr = state_.tune(channel);
    if (SUCCEEDED(hr)) {
        videoSubChannel_ = videoSubChannel;
        audioSubChannel_ = audioSubChannel;
    }
    return hr;
}

STDMETHODIMP TvTuner::get_Channel(LONG* channel, LONG* videoSubChannel, LONG* audioSubChannel) {
    if (!channel || !videoSubChannel || !audioSubChannel) return E_POINTER;
    *channel = state_.tuned();
    *videoSubChannel = videoSubChannel_;
    *audioSubChannel = audioSubChannel_;
    return S_OK;
}

STDMETHODIMP TvTuner::ChannelMinMax(LONG* min, LONG* max) {
    if (!min || !max) return E_POINTER;
    long low = 0, high = 0;
    state_.channelRange(low, high);
    *min = low;
    *max = high;
    return S_OK;
}

// The country selects the channel-to-frequency table on real tuners; the scenario's channel
// lists serve every country, so it is only kept and reported back.
STDMETHODIMP TvTuner::put_CountryCode(LONG country) {
    state_.setCountry(country);
    return S_OK;
}

STDMETHODIMP TvTuner::get_CountryCode(LONG* country) {
    if (!country) return E_POINTER;
    *country = state_.country();
    return S_OK;
}

STDMETHODIMP TvTuner::put_TuningSpace(LONG space) {
    tuningSpace_ = space;
    return S_OK;
}

STDMETHODIMP TvTuner::get_TuningSpace(LONG* space) {
    if (!space) return E_POINTER;
    *space = tuningSpace_;
    return S_OK;
}

STDMETHODIMP TvTuner::SignalPresent(LONG* strength) {
    if (!strength) return E_POINTER;
    *strength = state_.signalPresent() ? AMTUNER_SIGNALPRESENT : AMTUNER_NOSIGNAL;
    return S_OK;
}

STDMETHODIMP TvTuner::put_Mode(AMTunerModeType mode) { return state_.setMode(mode); }

STDMETHODIMP TvTuner::get_Mode(AMTunerModeType* mode) {
    if (!mode) return E_POINTER;
    *mode = state_.mode();
    return S_OK;
}

STDMETHODIMP TvTuner::GetAvailableModes(LONG* modes) {
    if (!modes) return E_POINTER;
    *modes = state_.availableModes();
    return S_OK;
}

STDMETHODIMP TvTuner::get_AvailableTVFormats(LONG* standards) {
    if (!standards) return E_POINTER;
    *standards = state_.tvFormat();
    return S_OK;
}

STDMETHODIMP TvTuner::get_TVFormat(LONG* standard) {
    if (!standard) return E_POINTER;
    *standard = state_.tvFormat();
    return S_OK;
}

STDMETHODIMP TvTuner::AutoTune(LONG channel, LONG* foundSignal) {
    if (!foundSignal) return E_POINTER;
    bool found = false;
    const HRESULT hr = state_.autoTune(channel, found);
    if (SUCCEEDED(hr)) *foundSignal = found ? 1 : 0;
    return hr;
}

STDMETHODIMP TvTuner::get_NumInputConnections(LONG* count) {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
}

STDMETHODIMP TvTuner::put_InputType(LONG index, TunerInputType type) { return state_.setInputType(index, type); }

STDMETHODIMP TvTuner::get_InputType(LONG index, TunerInputType* type) {
    if (!type) return E_POINTER;
    return state_.inputType(index, *type);
}

STDMETHODIMP TvTuner::put_ConnectInput(LONG index) { return index == 0 ? S_OK : E_INVALIDARG; }

STDMETHODIMP TvTuner::get_ConnectInput(LONG* index) {
    if (!index) return E_POINTER;
    *index = 0;
    return S_OK;
}

} // namespace qisvcard
