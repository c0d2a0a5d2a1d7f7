#pragma once
// The card's capture filter: a live source with a capture pin and (when the scenario has one) a
// preview pin, answering for its TV tuner and crossbar itself.

#include <memory>
#include <vector>

#include "Card.h"
#include "CardState.h"
#include "Crossbar.h"
#include "FilterBase.h"
#include "TvTuner.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisvcard {

class CapturePin;

class CaptureFilter final : public FilterBase {
public:
    explicit CaptureFilter(Card card);
    ~CaptureFilter() override;

    // IMediaFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;

    CardState& card() { return card_; }

private:
    bool offerOwn(REFIID iid, void** object) override;
    bool cannotCue() const override { return true; }
    HRESULT pauseLocked();

    const Card description_;
    CardState card_;
    TvTuner tuner_;
    Crossbar crossbar_;
    std::vector<std::unique_ptr<CapturePin>> pins_;
};

} // namespace qisvcard
