#include "analog/AnalogPlumbing.h"
#include "analog/GraphHandles.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/FriendlyNames.h"
#include "frame/PropertyBag.h"
#include "frame/Trace.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;

constexpr const char* kNoDeviceEnumerator = "CLSID_SystemDeviceEnum failed.";
// The same text whatever category was asked for.
constexpr const char* kNoClassEnumerator = "CLSID_VideoInputDeviceCategory failed.";
constexpr std::size_t kSeenNameBuckets = 32;

mirt5::TestResult deviceNotFound(const char* error, Caller where = Caller::current()) {
    if (error) WarningDeviceNotFound->setVariable("error", error);
    mirt5::DiagModule::warning(WarningDeviceNotFound, kSourceFile, lineOf(where));
    return error ? mirt5::TestResult::INTERNALERROR() : mirt5::TestResult::NODEVICE();
}

} // namespace

mirt5::TestResult FindCaptureDevice(const mirt5::DiagDevice& device, const GUID& category) {
    QISRTV_TRACE("FindCaptureDevice");
    ComPtr<ICreateDevEnum> devices;
    if (FAILED(createInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(devices.put()))))
        return deviceNotFound(kNoDeviceEnumerator);
    ComPtr<IEnumMoniker> monikers;
    if (FAILED(devices->CreateClassEnumerator(category, monikers.put(), 0))) return deviceNotFound(kNoClassEnumerator);
    if (!monikers) return deviceNotFound(nullptr);

    qis::HashTable<bool> seen(kSeenNameBuckets);
    for (ComPtr<IMoniker> moniker; monikers->Next(1, moniker.put(), nullptr) == S_OK;) {
        ComPtr<IPropertyBag> bag;
        if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(bag.put())))) continue;
        const qis::String target = device.property("AnalogFriendlyName").valueRef().toString();
        const qis::String& description = device.description();

        bool found = false;
        if (target != DefaultName->localizedString()) {
            qis::String name;
            if (!readText(bag.get(), L"FriendlyName", name)) continue;
            name = numberedName(name, seen);
            seen.put(name, true);
            found = name == target;
        } else {
            // The device carries the default name, which says nothing: match by description.
            qis::String filterDescription;
            if (!readText(bag.get(), L"Description", filterDescription)) continue;
            found = filterDescription == description;
        }
        if (!found) continue;
        if (FAILED(moniker->BindToObject(nullptr, nullptr, IID_PPV_ARGS(g_captureFilter.put())))) {
            mirt5::DiagModule::warning(WarningHardwareDoesNotSupportAnalogTVCapture, kSourceFile, __LINE__);
            return mirt5::TestResult::NOTSUPPORTED();
        }
        return mirt5::TestResult::PASS();
    }
    return deviceNotFound(nullptr);
}

} // namespace qisrtvcard
