// The Smart Tee: one capture stream in, a capture and a preview stream of its type out.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "SystemFilters.h"

namespace tvsim {
namespace {

// Splits a capture stream into a capture and a preview stream of the input's type; the outputs
// cannot connect before the input has.
class SmartTee final : public PinSetFilter {
public:
    SmartTee() : PinSetFilter("SmartTee", CLSID_SmartTee) {
        std::vector<MediaType> accepted;
        for (const GUID* subtype : kUncompressedVideo) {
            accepted.push_back(makeType(MEDIATYPE_Video, *subtype, FORMAT_VideoInfo));
            accepted.push_back(makeType(MEDIATYPE_Video, *subtype, FORMAT_VideoInfo2));
        }
        accepted.push_back(makeType(MEDIATYPE_Interleaved, MEDIASUBTYPE_dvsd, FORMAT_DvInfo));
        for (const MediaType& type : streamTypes({&MEDIASUBTYPE_MPEG2_PROGRAM, &MEDIASUBTYPE_MPEG2_TRANSPORT})) accepted.push_back(type);
        input_ = &listPin("Input", PINDIR_INPUT, std::move(accepted));
        capture_ = &listPin("Capture", PINDIR_OUTPUT, {}, &PIN_CATEGORY_CAPTURE);
        preview_ = &listPin("Preview", PINDIR_OUTPUT, {}, &PIN_CATEGORY_PREVIEW);
    }

protected:
    void refreshPins() override {
        std::vector<MediaType> offered;
        if (input_->isConnected()) offered.push_back(input_->connectionType());
        for (SimPin** output : {&capture_, &preview_}) {
            const auto& current = (*output)->types();
            const bool upToDate = current.size() == offered.size() && (offered.empty() || sameType(current[0], offered[0]));
            if (!upToDate && !(*output)->isConnected()) *output = &replacePin(**output, offered);
        }
    }

private:
    SimPin* input_;
    SimPin* capture_;
    SimPin* preview_;
};

} // namespace

ComPtr<IUnknown> createSmartTee(Simulation&) {
    ComPtr<SmartTee> tee = make<SmartTee>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(tee.get())));
}

} // namespace tvsim
