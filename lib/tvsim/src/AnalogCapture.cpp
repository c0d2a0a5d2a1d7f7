// The analog capture filter of a TV card, with its TV/FM tuner, its crossbar and the stream
// configuration of its capture pin.
//
// On real hardware the tuner and the crossbar are separate filters upstream of the capture
// filter, and ICaptureGraphBuilder2::FindInterface finds them there. Here the capture filter
// answers for IAMTVTuner and IAMCrossbar itself: FindInterface asks the filter it starts from
// before it looks upstream, so a caller finds them the same way and sees the same behaviour.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "tvsim/Bda.h"
#include "tvsim/Filter.h"
#include "tvsim/Objects.h"
#include "tvsim/Picture.h"
#include "tvsim/TunerRules.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

// {5F0C2A61-7B3E-4C1D-9A8E-2D4B6C8E0F13}: the virtual analog capture filter.
const CLSID kVirtualCaptureClsid = {0x5f0c2a61, 0x7b3e, 0x4c1d, {0x9a, 0x8e, 0x2d, 0x4b, 0x6c, 0x8e, 0x0f, 0x13}};

qis::String modeName(long mode) {
    switch (mode) {
    case AMTUNER_MODE_DEFAULT: return "AMTUNER_MODE_DEFAULT";
    case AMTUNER_MODE_TV: return "AMTUNER_MODE_TV";
    case AMTUNER_MODE_FM_RADIO: return "AMTUNER_MODE_FM_RADIO";
    case AMTUNER_MODE_AM_RADIO: return "AMTUNER_MODE_AM_RADIO";
    case AMTUNER_MODE_DSS: return "AMTUNER_MODE_DSS";
    default: return qis::String::number(mode);
    }
}

qis::String inputTypeName(long type) {
    if (type == TunerInputCable) return "TunerInputCable";
    if (type == TunerInputAntenna) return "TunerInputAntenna";
    return qis::String::number(type);
}

bool knownPhysicalType(long type) {
    return (type >= PhysConn_Video_Tuner && type <= PhysConn_Video_Black) ||
           (type >= PhysConn_Audio_Tuner && type <= PhysConn_Audio_AudioDecoder);
}

// Picture carrier of a channel in the US plans (broadcast on the antenna, standard cable on the
// cable input), in Hz; 0 for a channel the plan does not have.
long videoCarrier(long channel, bool cable) {
    const auto mhz = [](double value) { return static_cast<long>(value * 1000000.0 + 0.5); };
    if (channel >= 2 && channel <= 4) return mhz(55.25 + 6.0 * (channel - 2));
    if (channel == 5 || channel == 6) return mhz(77.25 + 6.0 * (channel - 5));
    if (channel >= 7 && channel <= 13) return mhz(175.25 + 6.0 * (channel - 7));
    if (!cable) return channel >= 14 && channel <= 69 ? mhz(471.25 + 6.0 * (channel - 14)) : 0;
    if (channel == 1) return mhz(73.25);
    if (channel >= 14 && channel <= 22) return mhz(121.25 + 6.0 * (channel - 14));
    if (channel >= 23 && channel <= 94) return mhz(217.25 + 6.0 * (channel - 23));
    if (channel >= 95 && channel <= 99) return mhz(91.25 + 6.0 * (channel - 95));
    if (channel >= 100 && channel <= 158) return mhz(649.25 + 6.0 * (channel - 100));
    return 0;
}

// Distance of the sound carrier above the picture carrier for a video standard.
long soundOffset(long standard) {
    if (standard & (AnalogVideo_PAL_B | AnalogVideo_PAL_G | AnalogVideo_PAL_H | AnalogVideo_SECAM_B | AnalogVideo_SECAM_G |
                    AnalogVideo_SECAM_H))
        return 5500000;
    if (standard & AnalogVideo_PAL_I) return 6000000;
    if (standard & (AnalogVideo_PAL_D | AnalogVideo_SECAM_D | AnalogVideo_SECAM_K | AnalogVideo_SECAM_K1 |
                    AnalogVideo_SECAM_L | AnalogVideo_SECAM_L1))
        return 6500000;
    return 4500000;
}

MediaType interleavedType() {
    MediaType type;
    type.major = MEDIATYPE_Interleaved;
    type.subtype = MEDIASUBTYPE_dvsd;
    type.formatType = FORMAT_DvInfo;
    type.format.resize(sizeof(DVINFO)); // no auxiliary source or control packs
    return type;
}

MediaType programStreamType() {
    MediaType type;
    type.major = MEDIATYPE_Stream;
    type.subtype = MEDIASUBTYPE_MPEG2_PROGRAM;
    type.formatType = FORMAT_None;
    return type;
}

std::vector<MediaType> captureTypes(const FilterSpec& card) {
    std::vector<MediaType> types;
    for (const auto& name : card.captureTypes) {
        if (name == "Video") types.push_back(MediaType::video(card.format.width, card.format.height, card.format.framesPerSecond));
        else if (name == "Interleaved") types.push_back(interleavedType());
        else types.push_back(programStreamType());
    }
    return types;
}

// The type a driver reports from GetFormat when it is not the one the pin connected with.
MediaType reportedType(const FilterSpec& card) {
    if (!card.reportedFormat) return {};
    const ReportedFormat& reported = *card.reportedFormat;
    MediaType type = MediaType::video(reported.width, reported.height, card.format.framesPerSecond);
    if (reported.formatType == "None") {
        type.formatType = FORMAT_None;
        type.format.clear();
    } else if (reported.formatType == "VideoInfo2") {
        const auto* info = reinterpret_cast<const VIDEOINFOHEADER*>(type.format.data());
        VIDEOINFOHEADER2 header{};
        header.AvgTimePerFrame = info->AvgTimePerFrame;
        header.bmiHeader = info->bmiHeader;
        header.dwPictAspectRatioX = 4;
        header.dwPictAspectRatioY = 3;
        type.formatType = FORMAT_VideoInfo2;
        type.format.resize(sizeof(header));
        std::memcpy(type.format.data(), &header, sizeof(header));
    }
    return type;
}

const VIDEOINFOHEADER* videoHeader(const MediaType& type) {
    if (type.formatType != FORMAT_VideoInfo || type.format.size() < sizeof(VIDEOINFOHEADER)) return nullptr;
    return reinterpret_cast<const VIDEOINFOHEADER*>(type.format.data());
}

class AnalogCaptureFilter final : public SimFilter,
                                  public IAMTVTuner,
                                  public IAMCrossbar,
                                  public IAMStreamConfig,
                                  public PictureSource {
public:
    AnalogCaptureFilter(const qis::String& name, const FilterSpec& card)
        : SimFilter(name, kVirtualCaptureClsid), card_(card), types_(captureTypes(card)), reported_(reportedType(card)) {
        SimPin& capture = addPin("Capture", PINDIR_OUTPUT, types_, &PIN_CATEGORY_CAPTURE);
        capture.expose(IID_IAMStreamConfig, static_cast<IAMStreamConfig*>(this));
        capturePin_ = &capture;
        if (card.previewPin)
            addPin("Preview", PINDIR_OUTPUT, {MediaType::video(card.format.width, card.format.height, card.format.framesPerSecond)},
                   &PIN_CATEGORY_PREVIEW);
        if (card.tuner) {
            mode_ = card.tuner->tvMode ? AMTUNER_MODE_TV : AMTUNER_MODE_FM_RADIO;
            inputType_ = static_cast<TunerInputType>(card.tuner->inputType);
            channel_ = card.tuner->minChannel;
            frequency_ = fmRasterPoint(card.tuner->minFrequency);
            retune();
        }
        if (card.crossbar)
            for (const auto& output : card.crossbar->outputs) routes_.push_back(output.routedFrom);
    }

    // IUnknown, one identity for every interface of the filter.
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    // ---- PictureSource ----

    bool hasPicture() const override {
        if (!card_.tuner) return !card_.crossbar || videoRouted(); // external inputs deliver what is routed
        return mode_ == AMTUNER_MODE_TV && tunerRouted() && signalNow();
    }

    qis::String pictureLabel() const override {
        if (!card_.tuner) return "External video";
        if (mode_ == AMTUNER_MODE_FM_RADIO) return radioLabel(frequency_);
        return channelLabel(channel_, inputType_ == TunerInputCable);
    }

    // ---- IAMTuner ----

    STDMETHODIMP put_Channel(LONG channel, LONG videoSubChannel, LONG audioSubChannel) override {
        return call("put_Channel", [&] {
            const HRESULT hr = tune(channel);
            if (SUCCEEDED(hr)) {
                videoSubChannel_ = videoSubChannel;
                audioSubChannel_ = audioSubChannel;
            }
            return hr;
        }, Arguments().with("channel", channel).with("videoSubChannel", videoSubChannel).with("audioSubChannel", audioSubChannel));
    }

    STDMETHODIMP get_Channel(LONG* channel, LONG* videoSubChannel, LONG* audioSubChannel) override {
        return call("get_Channel", [&]() -> HRESULT {
            if (!channel || !videoSubChannel || !audioSubChannel) return E_POINTER;
            *channel = mode_ == AMTUNER_MODE_FM_RADIO ? frequency_ : channel_;
            *videoSubChannel = videoSubChannel_;
            *audioSubChannel = audioSubChannel_;
            return S_OK;
        });
    }

    STDMETHODIMP ChannelMinMax(LONG* min, LONG* max) override {
        return call("ChannelMinMax", [&]() -> HRESULT {
            if (!min || !max) return E_POINTER;
            const bool fm = mode_ == AMTUNER_MODE_FM_RADIO;
            *min = fm ? tuner().minFrequency : tuner().minChannel;
            *max = fm ? tuner().maxFrequency : tuner().maxChannel;
            return S_OK;
        });
    }

    // The country selects the channel-to-frequency table on real tuners; here it is recorded
    // and reported back, the US tables serving every country.
    STDMETHODIMP put_CountryCode(LONG country) override {
        return call("put_CountryCode", [&] {
            country_ = country;
            return S_OK;
        }, Arguments().with("countryCode", country));
    }

    STDMETHODIMP get_CountryCode(LONG* country) override {
        return call("get_CountryCode", [&]() -> HRESULT {
            if (!country) return E_POINTER;
            *country = country_;
            return S_OK;
        });
    }

    STDMETHODIMP put_TuningSpace(LONG space) override {
        return call("put_TuningSpace", [&] {
            tuningSpace_ = space;
            return S_OK;
        }, Arguments().with("tuningSpace", space));
    }

    STDMETHODIMP get_TuningSpace(LONG* space) override {
        return call("get_TuningSpace", [&]() -> HRESULT {
            if (!space) return E_POINTER;
            *space = tuningSpace_;
            return S_OK;
        });
    }

    STDMETHODIMP Logon(HANDLE) override { return call("Logon", [] { return S_OK; }); }
    STDMETHODIMP Logout() override { return call("Logout", [] { return S_OK; }); }

    STDMETHODIMP SignalPresent(LONG* strength) override {
        return call("SignalPresent", [&]() -> HRESULT {
            if (!strength) return E_POINTER;
            const auto scripted = Simulation::current().scriptedValue(simName(), "SignalPresent");
            *strength = scripted ? *scripted : signalNow() ? AMTUNER_SIGNALPRESENT : AMTUNER_NOSIGNAL;
            return S_OK;
        });
    }

    STDMETHODIMP put_Mode(AMTunerModeType mode) override {
        return call("put_Mode", [&]() -> HRESULT {
            const auto wanted = static_cast<AMTunerModeType>(resolvedTunerMode(tuner(), mode));
            if (!wanted) return E_INVALIDARG;
            if (wanted != mode_) {
                mode_ = wanted;
                retune();
            }
            return S_OK;
        }, Arguments().with("mode", modeName(mode)));
    }

    STDMETHODIMP get_Mode(AMTunerModeType* mode) override {
        return call("get_Mode", [&]() -> HRESULT {
            if (!mode) return E_POINTER;
            *mode = mode_;
            return S_OK;
        });
    }

    STDMETHODIMP GetAvailableModes(LONG* modes) override {
        return call("GetAvailableModes", [&]() -> HRESULT {
            if (!modes) return E_POINTER;
            *modes = (tuner().tvMode ? AMTUNER_MODE_TV : 0) | (tuner().fmMode ? AMTUNER_MODE_FM_RADIO : 0);
            return S_OK;
        });
    }

    STDMETHODIMP RegisterNotificationCallBack(IAMTunerNotification*, LONG) override {
        return call("RegisterNotificationCallBack", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP UnRegisterNotificationCallBack(IAMTunerNotification*) override {
        return call("UnRegisterNotificationCallBack", [] { return E_NOTIMPL; });
    }

    // ---- IAMTVTuner ----

    STDMETHODIMP get_AvailableTVFormats(LONG* standards) override {
        return call("get_AvailableTVFormats", [&]() -> HRESULT {
            if (!standards) return E_POINTER;
            *standards = tuner().tvFormat;
            return S_OK;
        });
    }

    STDMETHODIMP get_TVFormat(LONG* standard) override {
        return call("get_TVFormat", [&]() -> HRESULT {
            if (!standard) return E_POINTER;
            *standard = tuner().tvFormat;
            return S_OK;
        });
    }

    // Tunes as put_Channel does and waits for the fine-tuning to settle, so the signal (if the
    // channel has one) is locked when it returns.
    STDMETHODIMP AutoTune(LONG channel, LONG* foundSignal) override {
        return call("AutoTune", [&]() -> HRESULT {
            if (!foundSignal) return E_POINTER;
            const HRESULT hr = tune(channel);
            if (FAILED(hr)) return hr;
            tunedAt_ -= std::chrono::milliseconds(tuner().lockMilliseconds);
            *foundSignal = signalNow() ? 1 : 0;
            return S_OK;
        }, Arguments().with("channel", channel));
    }

    STDMETHODIMP StoreAutoTune() override { return call("StoreAutoTune", [] { return S_OK; }); }

    STDMETHODIMP get_NumInputConnections(LONG* count) override {
        return call("get_NumInputConnections", [&]() -> HRESULT {
            if (!count) return E_POINTER;
            *count = 1;
            return S_OK;
        });
    }

    STDMETHODIMP put_InputType(LONG index, TunerInputType type) override {
        return call("put_InputType", [&]() -> HRESULT {
            if (index != 0 || (type != TunerInputCable && type != TunerInputAntenna)) return E_INVALIDARG;
            if (type != inputType_) {
                inputType_ = type;
                retune();
            }
            return S_OK;
        }, Arguments().with("index", index).with("inputType", inputTypeName(type)));
    }

    STDMETHODIMP get_InputType(LONG index, TunerInputType* type) override {
        return call("get_InputType", [&]() -> HRESULT {
            if (!type) return E_POINTER;
            if (index != 0) return E_INVALIDARG;
            *type = inputType_;
            return S_OK;
        }, Arguments().with("index", index));
    }

    STDMETHODIMP put_ConnectInput(LONG index) override {
        return call("put_ConnectInput", [&] { return index == 0 ? S_OK : E_INVALIDARG; }, Arguments().with("index", index));
    }

    STDMETHODIMP get_ConnectInput(LONG* index) override {
        return call("get_ConnectInput", [&]() -> HRESULT {
            if (!index) return E_POINTER;
            *index = 0;
            return S_OK;
        });
    }

    STDMETHODIMP get_VideoFrequency(LONG* hz) override {
        return call("get_VideoFrequency", [&]() -> HRESULT {
            if (!hz) return E_POINTER;
            *hz = mode_ == AMTUNER_MODE_TV ? videoCarrier(channel_, inputType_ == TunerInputCable) : 0;
            return S_OK;
        });
    }

    STDMETHODIMP get_AudioFrequency(LONG* hz) override {
        return call("get_AudioFrequency", [&]() -> HRESULT {
            if (!hz) return E_POINTER;
            if (mode_ == AMTUNER_MODE_FM_RADIO) {
                *hz = frequency_;
            } else {
                const long video = videoCarrier(channel_, inputType_ == TunerInputCable);
                *hz = video ? video + soundOffset(tuner().tvFormat) : 0;
            }
            return S_OK;
        });
    }

    // ---- IAMCrossbar ----

    STDMETHODIMP get_PinCounts(LONG* outputs, LONG* inputs) override {
        return call("get_PinCounts", [&]() -> HRESULT {
            if (!outputs || !inputs) return E_POINTER;
            *outputs = static_cast<LONG>(crossbar().outputs.size());
            *inputs = static_cast<LONG>(crossbar().inputs.size());
            return S_OK;
        });
    }

    // Documented answers: S_OK when the pins can be routed, S_FALSE when they cannot.
    STDMETHODIMP CanRoute(LONG output, LONG input) override {
        return call("CanRoute", [&]() -> HRESULT {
            if (!validOutput(output) || !validInput(input)) return E_INVALIDARG;
            return routable(output, input) ? S_OK : S_FALSE;
        }, Arguments().with("output", output).with("input", input));
    }

    // Documented answers: S_OK when routed, S_FALSE when the pins cannot be routed (nothing
    // changes then). One input at a time feeds an output.
    STDMETHODIMP Route(LONG output, LONG input) override {
        return call("Route", [&]() -> HRESULT {
            if (!validOutput(output) || !validInput(input)) return E_INVALIDARG;
            if (!routable(output, input)) return S_FALSE;
            routes_[static_cast<std::size_t>(output)] = input;
            return S_OK;
        }, Arguments().with("output", output).with("input", input));
    }

    STDMETHODIMP get_IsRoutedTo(LONG output, LONG* input) override {
        return call("get_IsRoutedTo", [&]() -> HRESULT {
            if (!input) return E_POINTER;
            if (!validOutput(output)) return E_INVALIDARG;
            *input = routes_[static_cast<std::size_t>(output)];
            return *input < 0 ? S_FALSE : S_OK;
        }, Arguments().with("output", output));
    }

    STDMETHODIMP get_CrossbarPinInfo(BOOL isInput, LONG index, LONG* related, LONG* physicalType) override {
        return call("get_CrossbarPinInfo", [&]() -> HRESULT {
            if (!related || !physicalType) return E_POINTER;
            if (isInput ? !validInput(index) : !validOutput(index)) return E_INVALIDARG;
            const auto at = static_cast<std::size_t>(index);
            *related = isInput ? crossbar().inputs[at].related : crossbar().outputs[at].related;
            *physicalType = isInput ? crossbar().inputs[at].physicalType : crossbar().outputs[at].physicalType;
            return knownPhysicalType(*physicalType) ? S_OK : S_FALSE;
        }, Arguments(qis::String(isInput ? "input " : "output ") + qis::String::number(index)).with("direction", isInput ? "input" : "output").with("index", index));
    }

    // ---- IAMStreamConfig (answered on the capture pin) ----

    // The connection's type while connected, else the format chosen by SetFormat or the first
    // offered; the caller frees it (DeleteMediaType).
    STDMETHODIMP GetFormat(AM_MEDIA_TYPE** type) override {
        return callOut("GetFormat", type, [&]() -> HRESULT {
            const MediaType& current = card_.reportedFormat ? reported_
                                       : capturePin_->isConnected() ? capturePin_->connectionType() : types_[chosen_];
            *type = current.allocate();
            return *type ? S_OK : E_OUTOFMEMORY;
        });
    }

    // Accepts one of the offered types only, while the filter is stopped. A connected pin keeps
    // its connection's type: changing it would need a reconnection, which this filter refuses.
    STDMETHODIMP SetFormat(AM_MEDIA_TYPE* type) override {
        return call("SetFormat", [&]() -> HRESULT {
            if (!type) return E_POINTER;
            if (state() != State_Stopped) return VFW_E_NOT_STOPPED;
            const auto offered = offeredIndex(*type);
            if (!offered) return VFW_E_INVALIDMEDIATYPE;
            if (capturePin_->isConnected() && !sameType(capturePin_->connectionType(), types_[*offered]))
                return VFW_E_INVALIDMEDIATYPE;
            chosen_ = *offered;
            return S_OK;
        }, Arguments().with("mediaType", type ? describe(MediaType::from(*type)) : qis::String("null")));
    }

    STDMETHODIMP GetNumberOfCapabilities(int* count, int* size) override {
        return call("GetNumberOfCapabilities", [&]() -> HRESULT {
            if (!count || !size) return E_POINTER;
            *count = static_cast<int>(types_.size());
            *size = static_cast<int>(sizeof(VIDEO_STREAM_CONFIG_CAPS));
            return S_OK;
        });
    }

    STDMETHODIMP GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) override {
        return callOut("GetStreamCaps", type, [&]() -> HRESULT {
            if (!caps) return E_POINTER;
            if (index < 0) return E_INVALIDARG;
            if (static_cast<std::size_t>(index) >= types_.size()) return S_FALSE;
            const MediaType& offered = types_[static_cast<std::size_t>(index)];
            *type = offered.allocate();
            if (!*type) return E_OUTOFMEMORY;
            fillCaps(offered, *reinterpret_cast<VIDEO_STREAM_CONFIG_CAPS*>(caps));
            return S_OK;
        }, qis::String::number(index));
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (void* base = SimFilter::extraInterface(iid)) return base;
        if (card_.tuner && (iid == IID_IAMTVTuner || iid == IID_IAMTuner)) return static_cast<IAMTVTuner*>(this);
        if (card_.crossbar && iid == IID_IAMCrossbar) return static_cast<IAMCrossbar*>(this);
        return nullptr;
    }

private:
    // Only reached through interfaces that exist when the scenario has the part.
    const TvTunerSpec& tuner() const { return *card_.tuner; }
    const CrossbarSpec& crossbar() const { return *card_.crossbar; }

    HRESULT tune(long channel) {
        if (mode_ == AMTUNER_MODE_FM_RADIO) {
            const long hz = fmRasterPoint(channel);
            if (!fmInBand(tuner(), hz)) return E_INVALIDARG;
            frequency_ = hz;
        } else {
            if (!tvChannelInRange(tuner(), channel)) return E_INVALIDARG;
            channel_ = channel;
        }
        retune();
        return S_OK;
    }

    // Anything that moves the tuner starts its lock time again.
    void retune() { tunedAt_ = Simulation::current().elapsed(); }

    bool locked() const {
        return Simulation::current().elapsed() - tunedAt_ >= std::chrono::milliseconds(tuner().lockMilliseconds);
    }

    bool carrierPresent() const {
        if (mode_ == AMTUNER_MODE_FM_RADIO) return fmStationReceived(tuner(), frequency_);
        return tvChannelHasSignal(tuner(), channel_, inputType_ == TunerInputCable);
    }

    bool signalNow() const { return carrierPresent() && locked(); }

    bool validInput(long index) const { return index >= 0 && index < static_cast<long>(crossbar().inputs.size()); }
    bool validOutput(long index) const { return index >= 0 && index < static_cast<long>(crossbar().outputs.size()); }

    bool routable(long output, long input) const {
        const auto& routes = crossbar().inputs[static_cast<std::size_t>(input)].routesTo;
        return std::find(routes.begin(), routes.end(), output) != routes.end();
    }

    bool videoRouted() const {
        return std::any_of(routes_.begin(), routes_.end(), [&](long input) {
            return input >= 0 && crossbar().inputs[static_cast<std::size_t>(input)].physicalType < PhysConn_Audio_Tuner;
        });
    }

    // Without a crossbar the tuner feeds the capture filter directly.
    bool tunerRouted() const {
        if (!card_.crossbar) return true;
        for (const long input : routes_)
            if (input >= 0 && crossbar().inputs[static_cast<std::size_t>(input)].physicalType == PhysConn_Video_Tuner) return true;
        return false;
    }

    static bool sameType(const MediaType& a, const MediaType& b) {
        if (a.major != b.major || a.subtype != b.subtype || a.formatType != b.formatType) return false;
        if (a.formatType != FORMAT_VideoInfo) return true;
        const VIDEOINFOHEADER* x = videoHeader(a);
        const VIDEOINFOHEADER* y = videoHeader(b);
        return x && y && x->bmiHeader.biWidth == y->bmiHeader.biWidth && x->bmiHeader.biHeight == y->bmiHeader.biHeight &&
               x->bmiHeader.biCompression == y->bmiHeader.biCompression;
    }

    std::optional<std::size_t> offeredIndex(const AM_MEDIA_TYPE& type) const {
        const MediaType wanted = MediaType::from(type);
        for (std::size_t i = 0; i < types_.size(); ++i)
            if (sameType(wanted, types_[i])) return i;
        return std::nullopt;
    }

    static qis::String describe(const MediaType& type) {
        if (const VIDEOINFOHEADER* header = videoHeader(type))
            return qis::String::number(header->bmiHeader.biWidth) + "x" + qis::String::number(header->bmiHeader.biHeight);
        if (type.major == MEDIATYPE_Interleaved) return "Interleaved";
        if (type.major == MEDIATYPE_Stream) return "Stream";
        return "other";
    }

    void fillCaps(const MediaType& offered, VIDEO_STREAM_CONFIG_CAPS& caps) const {
        std::memset(&caps, 0, sizeof caps);
        caps.guid = offered.formatType;
        caps.VideoStandard = card_.tuner ? static_cast<ULONG>(tuner().tvFormat) : 0;
        const LONG width = card_.format.width;
        const LONG height = card_.format.height < 0 ? -card_.format.height : card_.format.height;
        const SIZE size = {width, height};
        caps.InputSize = caps.MinCroppingSize = caps.MaxCroppingSize = caps.MinOutputSize = caps.MaxOutputSize = size;
        caps.CropGranularityX = caps.CropGranularityY = caps.CropAlignX = caps.CropAlignY = 1;
        caps.OutputGranularityX = caps.OutputGranularityY = 1;
        const auto frame = static_cast<LONGLONG>(10000000.0 / card_.format.framesPerSecond);
        caps.MinFrameInterval = caps.MaxFrameInterval = frame;
        const auto bits = static_cast<LONG>(static_cast<double>(width) * height * 16 * card_.format.framesPerSecond);
        caps.MinBitsPerSecond = caps.MaxBitsPerSecond = bits;
    }

    FilterSpec card_;
    std::vector<MediaType> types_;
    MediaType reported_;
    SimPin* capturePin_ = nullptr;
    std::size_t chosen_ = 0;

    AMTunerModeType mode_ = AMTUNER_MODE_TV;
    TunerInputType inputType_ = TunerInputCable;
    long channel_ = 0;
    long videoSubChannel_ = AMTUNER_SUBCHAN_DEFAULT;
    long audioSubChannel_ = AMTUNER_SUBCHAN_DEFAULT;
    long frequency_ = 0;
    long country_ = 1;
    long tuningSpace_ = 0;
    qis::Nanoseconds tunedAt_{};

    std::vector<long> routes_; // per output, the input routed to it or -1
};

} // namespace

ComPtr<IBaseFilter> createScenarioFilter(Simulation& simulation, const qis::String& key, const qis::String& friendlyName) {
    const auto& filters = simulation.scenario().filters;
    const auto found = filters.find(key);
    if (found == filters.end()) return nullptr;
    const qis::String name = friendlyName.isEmpty() ? key : friendlyName;
    if (found->second.kind != "analogCapture") return createBdaFilter(name, found->second);
    return make<AnalogCaptureFilter>(name, found->second);
}

} // namespace tvsim
