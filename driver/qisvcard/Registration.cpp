// regsvr32: the card becomes a video input device of the system, listed by the system device
// enumerator with the FriendlyName, Description and DevicePath a WDM card has in its property
// bag. A scenario that cannot be used registers nothing.
#include <windows.h>
#include <olectl.h>

#include "Card.h"
#include "ComScope.h"
#include "Module.h"
#include "Registry.h"
#include "tunekit/ComPtr.h"
#include "tunekit/ComValues.h"
#include "tunekit/DirectShow.h"
#include "tvsim/MediaType.h"

namespace qisvcard {
namespace {

using tunekit::ComPtr;

constexpr wchar_t kDescription[] = L"Description";
constexpr wchar_t kDevicePath[] = L"DevicePath";
constexpr wchar_t kCapturePinName[] = L"Capture";
constexpr wchar_t kPreviewPinName[] = L"Preview";

// The device's instance key is named after the card's class, so it is found again to remove it.
std::wstring instanceName() { return tvsim::guidText(kCardClsid).wide(); }

HRESULT writeText(IPropertyBag& bag, const wchar_t* name, const qis::String& text) {
    tunekit::Variant value;
    value.get()->vt = VT_BSTR;
    value.get()->bstrVal = SysAllocString(text.wide().c_str());
    return value.value().bstrVal ? bag.Write(name, value.get()) : E_OUTOFMEMORY;
}

HRESULT registerDevice(const Card& card) {
    ComPtr<IFilterMapper2> mapper;
    HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(mapper.put()));
    if (FAILED(hr)) return hr;

    REGPINTYPES types[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_RGB24}, {&MEDIATYPE_Video, &MEDIASUBTYPE_YUY2}};
    REGFILTERPINS pins[2] = {};
    const wchar_t* names[] = {kCapturePinName, kPreviewPinName};
    const ULONG pinCount = card.filter.previewPin ? 2 : 1;
    for (ULONG i = 0; i < pinCount; ++i) {
        pins[i].strName = const_cast<LPWSTR>(names[i]);
        pins[i].bOutput = TRUE;
        pins[i].nMediaTypes = 2;
        pins[i].lpMediaType = types;
    }
    REGFILTER2 filter{};
    filter.dwVersion = 1;
    filter.dwMerit = MERIT_DO_NOT_USE;
    filter.cPins = pinCount;
    filter.rgPins = pins;

    ComPtr<IMoniker> moniker;
    const std::wstring instance = instanceName();
    hr = mapper->RegisterFilter(kCardClsid, card.friendlyName.wide().c_str(), moniker.put(), &CLSID_VideoInputDeviceCategory,
                                instance.c_str(), &filter);
    if (FAILED(hr)) return hr;
    if (!moniker) return E_UNEXPECTED;

    ComPtr<IPropertyBag> bag;
    hr = moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(bag.put()));
    if (SUCCEEDED(hr) && !card.description.isEmpty()) hr = writeText(*bag.get(), kDescription, card.description);
    if (SUCCEEDED(hr) && !card.devicePath.isEmpty()) hr = writeText(*bag.get(), kDevicePath, card.devicePath);
    return hr;
}

void unregisterDevice() {
    ComPtr<IFilterMapper2> mapper;
    if (SUCCEEDED(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(mapper.put()))))
        mapper->UnregisterFilter(&CLSID_VideoInputDeviceCategory, instanceName().c_str(), kCardClsid);
}

void unregisterAll() {
    unregisterDevice();
    removeClassKey();
}

} // namespace
} // namespace qisvcard

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer() {
    using namespace qisvcard;
    Card card;
    try {
        const qis::String scenario = scenarioFromEnvironment();
        card = cardFromScenario(scenario);
        card.scenario = scenarioToRegister(card.scenario);
    } catch (const tvsim::ScenarioError& e) {
        reportError(e.what());
        return SELFREG_E_CLASS;
    }
    ComScope com(COINIT_APARTMENTTHREADED); // for the length of one registration call
    HRESULT hr = writeClassKey(card.friendlyName, card.scenario);
    if (SUCCEEDED(hr)) hr = registerDevice(card);
    if (FAILED(hr)) {
        unregisterAll();
        reportError("registration failed: HRESULT " + qis::String::number(static_cast<unsigned long>(hr)));
    }
    return hr;
}

extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer() {
    qisvcard::ComScope com(COINIT_APARTMENTTHREADED); // for the length of one registration call
    qisvcard::unregisterAll();
    return S_OK;
}
