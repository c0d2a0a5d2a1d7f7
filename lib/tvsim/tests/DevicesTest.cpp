// The system device enumerator: categories, monikers and their property bags as the module's
// device discovery reads them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "tvsim/SimObject.h"

namespace tvsim {
namespace {

using testing::create;
using tunekit::ComPtr;

const HRESULT kNoSuchValue = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);

// Two cards of one name (the second without a device path) and a device with neither a
// friendly name nor a filter.
const char* const kThreeDevices = R"json({
  "device": {"name": "Card A"},
  "filters": {"capture": {"kind": "analogCapture"}},
  "categories": {
    "VideoInputDevice": [
      {"friendlyName": "Card A", "description": "first", "devicePath": "\\\\?\\pci#card_a#1", "filter": "capture"},
      {"friendlyName": "Card A", "description": "second", "filter": "capture"},
      {"description": "nameless"}
    ]
  }
})json";

// Reads one property as text; the HRESULT when it cannot be read.
struct Read {
    HRESULT result;
    std::wstring text;
    VARTYPE type;
};

Read readProperty(const ComPtr<IPropertyBag>& bag, const wchar_t* name, VARTYPE wanted = VT_EMPTY) {
    if (!bag) return Read{E_POINTER, std::wstring(), VT_EMPTY};
    VARIANT value;
    VariantInit(&value);
    value.vt = wanted;
    const HRESULT result = bag->Read(name, &value, nullptr);
    Read read{result, std::wstring(), value.vt};
    if (SUCCEEDED(read.result) && value.vt == VT_BSTR) read.text = value.bstrVal;
    VariantClear(&value);
    return read;
}

class Devices : public testing::SimTest {
protected:
    explicit Devices(const char* json = kThreeDevices) : SimTest(json) {}
    void release() override { devices.reset(); }

    std::vector<ComPtr<IMoniker>> allVideoInputs() {
        std::vector<ComPtr<IMoniker>> all;
        ComPtr<IEnumMoniker> monikers;
        EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), 0), S_OK);
        for (ComPtr<IMoniker> moniker; monikers && monikers->Next(1, moniker.put(), nullptr) == S_OK;) all.push_back(moniker);
        return all;
    }

    static ComPtr<IPropertyBag> bagOf(const ComPtr<IMoniker>& moniker) {
        ComPtr<IPropertyBag> bag;
        EXPECT_EQ(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.putVoid()), S_OK);
        return bag;
    }

    ComPtr<ICreateDevEnum> devices = create<ICreateDevEnum>(CLSID_SystemDeviceEnum);
};

// A category the caller asks for, on a scenario, and whether it gets an enumerator.
struct Enumeration {
    const char* name;
    const char* scenario; // the three devices when null, the built-in default when ""
    const GUID* category;
    DWORD flags;
    HRESULT result;
    const char* journaled; // the category as the journal names it
};

class DeviceEnumeration : public Devices, public ::testing::WithParamInterface<Enumeration> {
protected:
    DeviceEnumeration() : Devices(GetParam().scenario ? GetParam().scenario : kThreeDevices) {}
};

TEST_P(DeviceEnumeration, GivesAnEnumeratorOnlyForHardwareOfTheCategory) {
    const Enumeration& c = GetParam();
    ComPtr<IEnumMoniker> monikers;
    EXPECT_EQ(devices->CreateClassEnumerator(*c.category, monikers.put(), c.flags), c.result);
    EXPECT_EQ(static_cast<bool>(monikers), c.result == S_OK) << "S_FALSE comes without an enumerator";
    if (c.journaled) EXPECT_EQ(callsOf("CreateClassEnumerator").back().arguments, c.journaled);
}

const char* const kEmptyCategory = R"json({"device": {"name": "Card A"}, "categories": {"VideoInputDevice": []}})json";
const Enumeration kEnumerations[] = {
    {"VideoInputs", nullptr, &CLSID_VideoInputDeviceCategory, 0, S_OK, "VideoInputDevice"},
    {"PlugAndPlayDevicesOnly", nullptr, &CLSID_VideoInputDeviceCategory, CDEF_DEVMON_PNP_DEVICE, S_OK, nullptr},
    {"DmosOnlyFindNoCards", nullptr, &CLSID_VideoInputDeviceCategory, CDEF_DEVMON_DMO, S_FALSE, nullptr},
    {"CategoryTheScenarioLacks", nullptr, &CLSID_AudioInputDeviceCategory, 0, S_FALSE, nullptr},
    {"EmptyCategory", kEmptyCategory, &CLSID_VideoInputDeviceCategory, 0, S_FALSE, nullptr},
    {"NoBdaTunersOnTheDefaultCard", "", &tunekit::KSCATEGORY_BDA_NETWORK_TUNER, 0, S_FALSE, "BDANetworkTuner"},
};
INSTANTIATE_TEST_SUITE_P(Categories, DeviceEnumeration, ::testing::ValuesIn(kEnumerations),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(Devices, MonikersComeOnceEachUntilSFalseAndEachEnumerationHasItsOwn) {
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, nullptr, 0), E_POINTER);
    ComPtr<IEnumMoniker> monikers;
    ASSERT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), 0), S_OK);
    ComPtr<IMoniker> moniker;
    ULONG fetched = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(monikers->Next(1, moniker.put(), &fetched), S_OK);
        EXPECT_EQ(fetched, 1u);
    }
    EXPECT_EQ(monikers->Next(1, moniker.put(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_FALSE(moniker);

    const auto first = allVideoInputs(), second = allVideoInputs();
    ASSERT_EQ(first.size(), 3u);
    ASSERT_EQ(second.size(), 3u);
    EXPECT_NE(first[0].get(), second[0].get());
    EXPECT_EQ(first[0]->IsEqual(second[0].get()), S_OK);
    EXPECT_EQ(first[0]->IsEqual(first[1].get()), S_FALSE);
}

TEST_F(Devices, PropertyBagsGiveTheScenarioTextsInTheTypeAskedAndFailForWhatItLeavesOut) {
    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    const struct {
        int device;
        const wchar_t* property;
        VARTYPE wanted;
        HRESULT result;
        const wchar_t* text;
    } cases[] = {
        {0, L"Description", VT_EMPTY, S_OK, L"first"},  // in scenario order
        {1, L"Description", VT_EMPTY, S_OK, L"second"},
        {2, L"Description", VT_EMPTY, S_OK, L"nameless"},
        {0, L"FriendlyName", VT_EMPTY, S_OK, L"Card A"},
        {0, L"friendlyname", VT_EMPTY, S_OK, L"Card A"}, // registry value names ignore case
        {0, L"DevicePath", VT_EMPTY, S_OK, L"\\\\?\\pci#card_a#1"},
        {0, L"FriendlyName", VT_I4, DISP_E_TYPEMISMATCH, L""},
        {1, L"DevicePath", VT_EMPTY, kNoSuchValue, L""},
        {2, L"FriendlyName", VT_EMPTY, kNoSuchValue, L""},
        {2, L"CLSID", VT_EMPTY, kNoSuchValue, L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(qis::String(c.property).utf8() + " of device " + std::to_string(c.device));
        const Read read = readProperty(bagOf(monikers[c.device]), c.property, c.wanted);
        EXPECT_EQ(read.result, c.result);
        EXPECT_EQ(read.text, c.text);
        if (c.wanted == VT_EMPTY) EXPECT_EQ(read.type, c.result == S_OK ? VT_BSTR : VT_EMPTY);
    }
}

TEST_F(Devices, PropertyBagsAreReadOnly) {
    const auto monikers = allVideoInputs();
    ASSERT_FALSE(monikers.empty());
    ComPtr<IPropertyBag> bag = bagOf(monikers[0]);
    EXPECT_EQ(bag->Read(L"FriendlyName", nullptr, nullptr), E_POINTER);
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"Card B");
    EXPECT_EQ(bag->Write(L"FriendlyName", &value), E_ACCESSDENIED);
    VariantClear(&value);
    EXPECT_EQ(readProperty(bag, L"FriendlyName").text, L"Card A");
}

TEST_F(Devices, MonikersBindTheirDeviceFilterAndOnlyThroughTheInterfacesItHas) {
    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    ComPtr<IBaseFilter> filter, again;
    ASSERT_EQ(monikers[0]->BindToObject(nullptr, nullptr, IID_IBaseFilter, filter.putVoid()), S_OK);
    ASSERT_TRUE(filter);
    // Every binding creates an instance of its own, as CoCreateInstance would.
    ASSERT_EQ(monikers[0]->BindToObject(nullptr, nullptr, IID_IBaseFilter, again.putVoid()), S_OK);
    EXPECT_NE(filter.get(), again.get());

    ComPtr<IUnknown> wrong;
    EXPECT_EQ(monikers[0]->BindToObject(nullptr, nullptr, IID_IMediaControl, wrong.putVoid()), E_NOINTERFACE);
    EXPECT_FALSE(wrong);
    EXPECT_EQ(monikers[0]->BindToStorage(nullptr, nullptr, IID_IStream, wrong.putVoid()), E_NOINTERFACE);
    EXPECT_FALSE(wrong);
    // A device whose key names no filter cannot be bound.
    EXPECT_EQ(monikers[2]->BindToObject(nullptr, nullptr, IID_IBaseFilter, wrong.putVoid()), kNoSuchValue);
    EXPECT_FALSE(wrong);
}

TEST_F(Devices, DisplayNamesNameHardwareByItsDevicePath) {
    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    const auto displayName = [&](int device) {
        LPOLESTR name = nullptr;
        EXPECT_EQ(monikers[device]->GetDisplayName(nullptr, nullptr, &name), S_OK);
        const std::wstring text = name ? name : L"";
        CoTaskMemFree(name);
        return text;
    };
    EXPECT_EQ(displayName(0), L"@device:pnp:\\\\?\\pci#card_a#1");
    EXPECT_EQ(displayName(1).find(L"@device:sw:"), 0u);
}

TEST_F(Devices, FaultsAimAtOneObjectByNameWithRepeatsNumberedAndANullResultIsOneCallOnly) {
    simulation().faults().add({"Moniker: Card A #2", "BindToStorage", static_cast<std::int32_t>(E_FAIL), 0, FaultKind::Fail});
    simulation().faults().add({"PropertyBag: VideoInputDevice #3", "Read", static_cast<std::int32_t>(E_OUTOFMEMORY), 0,
                               FaultKind::Fail});
    simulation().faults().add({"SystemDeviceEnum", "CreateClassEnumerator", 0, 1, FaultKind::NullResult});
    ComPtr<IEnumMoniker> none;
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, none.put(), 0), S_OK);
    EXPECT_FALSE(none);

    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    EXPECT_TRUE(bagOf(monikers[0]));
    ComPtr<IPropertyBag> bag;
    EXPECT_EQ(monikers[1]->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.putVoid()), E_FAIL);
    EXPECT_FALSE(bag);
    ComPtr<IPropertyBag> nameless = bagOf(monikers[2]);
    ASSERT_TRUE(nameless);
    EXPECT_EQ(readProperty(nameless, L"Description").result, E_OUTOFMEMORY);
}

TEST_F(Devices, TheJournalRecordsEachCallWithItsArgumentsAndResult) {
    simulation().journal().clear();
    const auto monikers = allVideoInputs();
    ASSERT_FALSE(monikers.empty());
    readProperty(bagOf(monikers[1]), L"DevicePath");

    std::vector<std::string> seen;
    for (const Call& call : simulation().journal().calls()) {
        if (call.object.startsWith("EnumMoniker")) continue;
        char result[16];
        std::snprintf(result, sizeof(result), "%08lx", static_cast<unsigned long>(call.result));
        seen.push_back(call.object.utf8() + " " + call.method.utf8() + "(" + call.arguments.utf8() + ") " + result +
                       (call.injected ? " injected" : ""));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "SystemDeviceEnum CreateClassEnumerator(VideoInputDevice) 00000000",
                        "Moniker: Card A #2 BindToStorage() 00000000",
                        "PropertyBag: Card A #2 Read(DevicePath) 80070002",
                    }));
}

} // namespace
} // namespace tvsim
