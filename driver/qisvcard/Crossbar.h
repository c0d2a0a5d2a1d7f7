#pragma once
// IAMCrossbar of the card, answered by the capture filter itself: routing the tuner's video to
// the decoder is what lets its picture through.

#include "CardState.h"
#include "ComObject.h"

namespace qisvcard {

class Crossbar final : public InnerInterface<IAMCrossbar> {
public:
    Crossbar(IUnknown& filter, CardState& state) : InnerInterface(filter), state_(state) {}

    STDMETHODIMP get_PinCounts(LONG* outputs, LONG* inputs) override;
    STDMETHODIMP CanRoute(LONG output, LONG input) override;
    STDMETHODIMP Route(LONG output, LONG input) override;
    STDMETHODIMP get_IsRoutedTo(LONG output, LONG* input) override;
    STDMETHODIMP get_CrossbarPinInfo(BOOL isInput, LONG index, LONG* related, LONG* physicalType) override;

private:
    CardState& state_;
};

} // namespace qisvcard
