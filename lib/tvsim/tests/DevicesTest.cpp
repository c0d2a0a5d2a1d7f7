// The system device enumerator: categories, monikers and their property bags as the module's
// device discovery reads them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "tvsim/SimObject.h"

namespace tvsim {
namespace {

using testing::create;
using tunekit::ComPtr;

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

// One property as text, or its failure as "error" and the HRESULT in hex. A failed read leaves
// the caller's VARIANT as it was.
std::wstring readProperty(IPropertyBag* bag, const wchar_t* name, VARTYPE wanted = VT_EMPTY) {
    VARIANT value;
    VariantInit(&value);
    value.vt = wanted;
    const HRESULT result = bag->Read(name, &value, nullptr);
    wchar_t error[40];
    std::swprintf(error, 40, L"error %08lx%ls", static_cast<unsigned long>(result), value.vt == wanted ? L"" : L" (VARIANT changed)");
    const std::wstring read = FAILED(result) ? error : value.vt == VT_BSTR ? value.bstrVal : L"(not text)";
    VariantClear(&value);
    return read;
}

class Devices : public testing::SimTest {
protected:
    explicit Devices(const char* json = kThreeDevices) : SimTest(json) {}

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

void PrintTo(const Enumeration& c, std::ostream* out) { *out << c.name; }

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

TEST_F(Devices, PropertyBagsGiveTheScenarioTextsInTheTypeAskedFailForWhatItLeavesOutAndAreReadOnly) {
    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    const struct { int device; const wchar_t* property; VARTYPE wanted; const wchar_t* read; } cases[] = {
        {0, L"Description", VT_EMPTY, L"first"}, // in scenario order
        {1, L"Description", VT_EMPTY, L"second"},
        {2, L"Description", VT_EMPTY, L"nameless"},
        {0, L"FriendlyName", VT_EMPTY, L"Card A"},
        {0, L"friendlyname", VT_EMPTY, L"Card A"}, // registry value names ignore case
        {0, L"DevicePath", VT_EMPTY, L"\\\\?\\pci#card_a#1"},
        {0, L"FriendlyName", VT_I4, L"error 80020005"}, // DISP_E_TYPEMISMATCH
        {1, L"DevicePath", VT_EMPTY, L"error 80070002"},  // a value the key does not have: file not found
        {2, L"FriendlyName", VT_EMPTY, L"error 80070002"},
        {2, L"CLSID", VT_EMPTY, L"error 80070002"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readProperty(bagOf(monikers[c.device]).get(), c.property, c.wanted), c.read)
            << qis::String(c.property).utf8() << " of " << c.device;

    ComPtr<IPropertyBag> bag = bagOf(monikers[0]);
    EXPECT_EQ(bag->Read(L"FriendlyName", nullptr, nullptr), E_POINTER);
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"Card B");
    EXPECT_EQ(bag->Write(L"FriendlyName", &value), E_ACCESSDENIED);
    VariantClear(&value);
    EXPECT_EQ(readProperty(bag.get(), L"FriendlyName"), L"Card A");
}

TEST_F(Devices, MonikersBindTheirDeviceFilterOnlyThroughItsInterfacesAndAreNamedByTheDevicePath) {
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
    EXPECT_EQ(monikers[2]->BindToObject(nullptr, nullptr, IID_IBaseFilter, wrong.putVoid()), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(wrong);

    // Display names name hardware by its device path.
    LPOLESTR name = nullptr;
    ASSERT_EQ(monikers[0]->GetDisplayName(nullptr, nullptr, &name), S_OK);
    EXPECT_STREQ(name, L"@device:pnp:\\\\?\\pci#card_a#1");
    CoTaskMemFree(name);
    ASSERT_EQ(monikers[1]->GetDisplayName(nullptr, nullptr, &name), S_OK);
    EXPECT_EQ(std::wstring(name).find(L"@device:sw:"), 0u);
    CoTaskMemFree(name);
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
    EXPECT_EQ(readProperty(nameless.get(), L"Description"), L"error 8007000e");
}

TEST_F(Devices, TheJournalRecordsEachCallWithItsArgumentsAndResult) {
    simulation().journal().clear();
    const auto monikers = allVideoInputs();
    ASSERT_FALSE(monikers.empty());
    readProperty(bagOf(monikers[1]).get(), L"DevicePath");

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
