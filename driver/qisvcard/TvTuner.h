#pragma once
// IAMTVTuner of the card, answered by the capture filter itself (docs/virtual-card-driver.md says
// why it is not a filter of its own).

#include "CardState.h"
#include "ComObject.h"

namespace qisvcard {

class TvTuner final : public InnerInterface<IAMTVTuner> {
public:
    TvTuner(IUnknown& filter, CardState& state) : InnerInterface(filter), state_(state) {}

    // IAMTuner
    STDMETHODIMP put_Channel(LONG channel, LONG videoSubChannel, LONG audioSubChannel) override;
    STDMETHODIMP get_Channel(LONG* channel, LONG* videoSubChannel, LONG* audioSubChannel) override;
    STDMETHODIMP ChannelMinMax(LONG* min, LONG* max) override;
    STDMETHODIMP put_CountryCode(LONG country) override;
    STDMETHODIMP get_CountryCode(LONG* country) override;
    STDMETHODIMP put_TuningSpace(LONG space) override;
    STDMETHODIMP get_TuningSpace(LONG* space) override;
    STDMETHODIMP Logon(HANDLE) override { return S_OK; }
    STDMETHODIMP Logout() override { return S_OK; }
    STDMETHODIMP SignalPresent(LONG* strength) override;
    STDMETHODIMP put_Mode(AMTunerModeType mode) override;
    STDMETHODIMP get_Mode(AMTunerModeType* mode) override;
    STDMETHODIMP GetAvailableModes(LONG* modes) override;
    STDMETHODIMP RegisterNotificationCallBack(IAMTunerNotification*, LONG) override { return E_NOTIMPL; }
    STDMETHODIMP UnRegisterNotificationCallBack(IAMTunerNotification*) override { return E_NOTIMPL; }
    // IAMTVTuner
    STDMETHODIMP get_AvailableTVFormats(LONG* standards) override;
    STDMETHODIMP get_TVFormat(LONG* standard) override;
    STDMETHODIMP AutoTune(LONG channel, LONG* foundSignal) override;
    STDMETHODIMP StoreAutoTune() override { return S_OK; }
    STDMETHODIMP get_NumInputConnections(LONG* count) override;
    STDMETHODIMP put_InputType(LONG index, TunerInputType type) override;
    STDMETHODIMP get_InputType(LONG index, TunerInputType* type) override;
    STDMETHODIMP put_ConnectInput(LONG index) override;
    STDMETHODIMP get_ConnectInput(LONG* index) override;
    STDMETHODIMP get_VideoFrequency(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AudioFrequency(LONG*) override { return E_NOTIMPL; }

private:
    CardState& state_;
    LONG videoSubChannel_ = AMTUNER_SUBCHAN_DEFAULT;
    LONG audioSubChannel_ = AMTUNER_SUBCHAN_DEFAULT;
    LONG tuningSpace_ = 0;
};

} // namespace qisvcard
