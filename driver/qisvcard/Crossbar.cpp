#include "Crossbar.h"

namespace qisvcard {

STDMETHODIMP Crossbar::get_PinCounts(LONG* outputs, LONG* inputs) {
    if (!outputs || !inputs) return E_POINTER;
    *outputs = state_.outputCount();
    *inputs = state_.inputCount();
    return S_OK;
}

// S_OK when the pins can be routed, S_FALSE when they cannot.
STDMETHODIMP Crossbar::CanRoute(LONG output, LONG input) {
    if (!state_.validPin(false, output) || !state_.validPin(true, input)) return E_INVALIDARG;
    return state_.canRoute(output, input) ? S_OK : S_FALSE;
}

STDMETHODIMP Crossbar::Route(LONG output, LONG input) { return state_.route(output, input); }

STDMETHODIMP Crossbar::get_IsRoutedTo(LONG output, LONG* input) {
    if (!input) return E_POINTER;
    if (!state_.validPin(false, output)) return E_INVALIDARG;
    *input = state_.routedTo(output);
    return *input < 0 ? S_FALSE : S_OK;
}

STDMETHODIMP Crossbar::get_CrossbarPinInfo(BOOL isInput, LONG index, LONG* related, LONG* physicalType) {
    if (!related || !physicalType) return E_POINTER;
    if (!state_.validPin(isInput != FALSE, index)) return E_INVALIDARG;
    long relatedPin = -1, type = 0;
    state_.pinInfo(isInput != FALSE, index, relatedPin, type);
    *related = relatedPin;
    *physicalType = type;
    return S_OK;
}

} // namespace qisvcard
