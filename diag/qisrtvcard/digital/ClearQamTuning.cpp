// Tune requests of the ATSC and Clear QAM scans and the cable channel table.
#include <array>

#include "digital/ClearQamTest.h"
#include "frame/ComFactory.h"
#include "frame/Trace.h"
#include "tunekit/ComPtr.h"
#include "tunekit/ComValues.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;

// Picture carriers of the North American standard cable plan in kHz, by channel number. The
// locator is given the carrier itself, not the centre of the 6 MHz channel.
constexpr std::array<std::uint32_t, 136> makeCableTable() {
    std::array<std::uint32_t, 136> table{};
    table[1] = 73250;
    for (std::uint32_t n = 2; n <= 4; ++n) table[n] = 55250 + 6000 * (n - 2);
    table[5] = 77250;
    table[6] = 83250;
    for (std::uint32_t n = 7; n <= 13; ++n) table[n] = 175250 + 6000 * (n - 7);
    for (std::uint32_t n = 14; n <= 22; ++n) table[n] = 121250 + 6000 * (n - 14);
    for (std::uint32_t n = 23; n <= 94; ++n) table[n] = 217250 + 6000 * (n - 23);
    for (std::uint32_t n = 95; n <= 99; ++n) table[n] = 91250 + 6000 * (n - 95);
    for (std::uint32_t n = 100; n <= 135; ++n) table[n] = 649250 + 6000 * (n - 100);
    return table;
}

constexpr std::array<std::uint32_t, 136> kCableChannels = makeCableTable();

constexpr long kNotSet = -1;

// A fresh ATSC locator; null or a failure is an assertion failure.
ComPtr<IATSCLocator> createAtscLocator() {
    ComPtr<IATSCLocator> locator;
    const HRESULT hr = g_clearQamResult = createInstance(CLSID_ATSCLocator, nullptr, CLSCTX_ALL, IID_PPV_ARGS(locator.put()));
    QISRTV_ASSERT(SUCCEEDED(hr) && locator, "SUCCEEDED( hr ) && ATSCLocator");
    return locator;
}

ComPtr<ITuneRequest> createRequest(IATSCTuningSpace* space) {
    ComPtr<ITuneRequest> request;
    const HRESULT hr = g_clearQamResult = space->CreateTuneRequest(request.put());
    QISRTV_ASSERT(request && SUCCEEDED(hr), "TuneRequest && SUCCEEDED( hr )");
    return request;
}

ComPtr<IATSCChannelTuneRequest> asChannelRequest(ITuneRequest* request) {
    ComPtr<IATSCChannelTuneRequest> channelRequest;
    g_clearQamResult = request->QueryInterface(IID_PPV_ARGS(channelRequest.put()));
    QISRTV_ASSERT(channelRequest, "ATSCChannelTuneRequest");
    return channelRequest;
}

ComPtr<IATSCTuningSpace> asAtscSpace(ITuningSpace* tuningSpace) {
    ComPtr<IATSCTuningSpace> space;
    g_clearQamResult = tuningSpace->QueryInterface(IID_PPV_ARGS(space.put()));
    QISRTV_ASSERT(space, "ATSCTuningSpace");
    return space;
}

} // namespace

std::uint32_t cableChannelFrequency(long channel) {
    return channel >= 0 && static_cast<std::size_t>(channel) < kCableChannels.size() ? kCableChannels[static_cast<std::size_t>(channel)] : 0;
}

ITuningSpace* getTuningSpace(ITuner* tuner, const wchar_t* uniqueName) {
    QISRTV_TRACE_CLEARQAM("getTuningSpace");
    ComPtr<IEnumTuningSpaces> spaces;
    HRESULT hr = g_clearQamResult = tuner->EnumTuningSpaces(spaces.put());
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    const tunekit::Bstr wanted(uniqueName);
    ComPtr<ITuningSpace> space;
    while (spaces && spaces->Next(1, space.put(), nullptr) == S_OK) {
        tunekit::Bstr name;
        space->get_UniqueName(name.put());
        if (VarBstrCmp(name.get(), wanted.get(), LOCALE_USER_DEFAULT, 0) == static_cast<HRESULT>(VARCMP_EQ)) return space.detach();
    }
    return nullptr;
}

ITuneRequest* createTuneRequest(ITuningSpace* tuningSpace, long channel, long programNumber) {
    QISRTV_TRACE_CLEARQAM("createTuneRequest");
    const ComPtr<IATSCLocator> locator = createAtscLocator();
    ComPtr<IATSCLocator2> locator2;
    g_clearQamResult = locator->QueryInterface(IID_PPV_ARGS(locator2.put()));
    QISRTV_ASSERT(locator2, "ATSCLocator2");
    HRESULT hr = g_clearQamResult = locator2->put_ProgramNumber(programNumber);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    hr = g_clearQamResult = locator2->put_CarrierFrequency(static_cast<long>(cableChannelFrequency(channel)));
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    hr = g_clearQamResult = locator2->put_Modulation(BDA_MOD_256QAM); // 64-QAM channels are not tried
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    const ComPtr<IATSCTuningSpace> space = asAtscSpace(tuningSpace);
    ComPtr<ITuneRequest> request = createRequest(space.get());
    const ComPtr<IATSCChannelTuneRequest> channelRequest = asChannelRequest(request.get());
    hr = g_clearQamResult = channelRequest->put_Channel(channel);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    hr = g_clearQamResult = channelRequest->put_Locator(locator.get());
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    return request.detach();
}

// Major and minor channel stay unset: the physical channel in the locator selects the frequency.
ITuneRequest* createTuneRequest(ITuningSpace* tuningSpace, long physicalChannel) {
    QISRTV_TRACE_CLEARQAM("createTuneRequest");
    const ComPtr<IATSCLocator> locator = createAtscLocator();
    HRESULT hr = g_clearQamResult = locator->put_PhysicalChannel(physicalChannel);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    const ComPtr<IATSCTuningSpace> space = asAtscSpace(tuningSpace);
    space->put_InputType(TunerInputAntenna);
    ComPtr<ITuneRequest> request = createRequest(space.get());
    const ComPtr<IATSCChannelTuneRequest> channelRequest = asChannelRequest(request.get());
    hr = g_clearQamResult = channelRequest->put_Channel(kNotSet);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    hr = g_clearQamResult = channelRequest->put_MinorChannel(kNotSet);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    hr = g_clearQamResult = channelRequest->put_Locator(locator.get());
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    return request.detach();
}

} // namespace qisrtvcard
