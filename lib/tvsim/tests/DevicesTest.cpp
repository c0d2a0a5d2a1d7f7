#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "tvsim/SimObject.h"

namespace tvsim {
namespace {

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

const char* const kNoDevices = R"json({
  "device": {"name": "Card A"},
  "categories": {"VideoInputDevice": []}
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

class DevicesTest : public ::testing::Test, public testing::SimulationFixture {
protected:
    explicit DevicesTest(const char* json = kThreeDevices) : SimulationFixture(json) {}

    void SetUp() override {
        ASSERT_EQ(simulation().createInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                                              devices.putVoid()),
                  S_OK);
    }

    void TearDown() override {
        devices.reset();
        EXPECT_TRUE(simulation().liveObjects().empty()) << liveObjects();
    }

    ComPtr<IEnumMoniker> videoInputs() {
        ComPtr<IEnumMoniker> monikers;
        EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), 0), S_OK);
        return monikers;
    }

    std::vector<ComPtr<IMoniker>> allVideoInputs() {
        std::vector<ComPtr<IMoniker>> all;
        ComPtr<IEnumMoniker> monikers = videoInputs();
        for (ComPtr<IMoniker> moniker; monikers && monikers->Next(1, moniker.put(), nullptr) == S_OK;) all.push_back(moniker);
        return all;
    }

    static ComPtr<IPropertyBag> bagOf(const ComPtr<IMoniker>& moniker) {
        ComPtr<IPropertyBag> bag;
        EXPECT_EQ(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.putVoid()), S_OK);
        return bag;
    }

    ComPtr<ICreateDevEnum> devices;
};

class DevicesEmptyCategoryTest : public DevicesTest {
protected:
    DevicesEmptyCategoryTest() : DevicesTest(kNoDevices) {}
};

TEST_F(DevicesTest, MonikersComeInScenarioOrderAndTheEndAnswersSFalse) {
    ComPtr<IEnumMoniker> monikers = videoInputs();
    ASSERT_TRUE(monikers);
    std::vector<std::wstring> descriptions;
    ComPtr<IMoniker> moniker;
    ULONG fetched = 0;
    while (monikers->Next(1, moniker.put(), &fetched) == S_OK) {
        ASSERT_EQ(fetched, 1u);
        descriptions.push_back(readProperty(bagOf(moniker), L"Description").text);
    }
    EXPECT_EQ(descriptions, (std::vector<std::wstring>{L"first", L"second", L"nameless"}));
    EXPECT_EQ(monikers->Next(1, moniker.put(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_FALSE(moniker);
}

TEST_F(DevicesTest, EachEnumerationHandsOutItsOwnMonikers) {
    const auto first = allVideoInputs();
    const auto second = allVideoInputs();
    ASSERT_EQ(first.size(), 3u);
    ASSERT_EQ(second.size(), 3u);
    EXPECT_NE(first[0].get(), second[0].get());
    EXPECT_EQ(first[0]->IsEqual(second[0].get()), S_OK);
    EXPECT_EQ(first[0]->IsEqual(first[1].get()), S_FALSE);
}

TEST_F(DevicesTest, CategoriesWithoutDevicesSucceedWithoutAnEnumerator) {
    ComPtr<IEnumMoniker> monikers;
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_AudioInputDeviceCategory, monikers.put(), 0), S_FALSE);
    EXPECT_FALSE(monikers);
    // The cards are hardware: asking only for DMOs finds none of them.
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), CDEF_DEVMON_DMO), S_FALSE);
    EXPECT_FALSE(monikers);
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), CDEF_DEVMON_PNP_DEVICE), S_OK);
    EXPECT_TRUE(monikers);
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, nullptr, 0), E_POINTER);
}

TEST_F(DevicesEmptyCategoryTest, AnEmptyCategorySucceedsWithoutAnEnumerator) {
    ComPtr<IEnumMoniker> monikers;
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), 0), S_FALSE);
    EXPECT_FALSE(monikers);
}

TEST_F(DevicesTest, PropertyBagsGiveTheScenarioTextsAndFailForWhatItLeavesOut) {
    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    ComPtr<IPropertyBag> first = bagOf(monikers[0]);
    const Read name = readProperty(first, L"FriendlyName");
    EXPECT_EQ(name.result, S_OK);
    EXPECT_EQ(name.type, VT_BSTR);
    EXPECT_EQ(name.text, L"Card A");
    EXPECT_EQ(readProperty(first, L"DevicePath").text, L"\\\\?\\pci#card_a#1");
    // Value names are registry value names: case does not matter.
    EXPECT_EQ(readProperty(first, L"friendlyname").text, L"Card A");

    EXPECT_EQ(readProperty(bagOf(monikers[1]), L"DevicePath").result, kNoSuchValue);
    ComPtr<IPropertyBag> nameless = bagOf(monikers[2]);
    const Read missing = readProperty(nameless, L"FriendlyName");
    EXPECT_EQ(missing.result, kNoSuchValue);
    EXPECT_EQ(missing.type, VT_EMPTY);
    EXPECT_EQ(readProperty(nameless, L"CLSID").result, kNoSuchValue);
}

TEST_F(DevicesTest, PropertyBagsConvertToTheTypeAskedForAndAreReadOnly) {
    const auto monikers = allVideoInputs();
    ASSERT_FALSE(monikers.empty());
    ComPtr<IPropertyBag> bag = bagOf(monikers[0]);
    EXPECT_EQ(readProperty(bag, L"FriendlyName", VT_I4).result, DISP_E_TYPEMISMATCH);
    VARIANT value;
    VariantInit(&value);
    EXPECT_EQ(bag->Read(L"FriendlyName", nullptr, nullptr), E_POINTER);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(L"Card B");
    EXPECT_EQ(bag->Write(L"FriendlyName", &value), E_ACCESSDENIED);
    VariantClear(&value);
    EXPECT_EQ(readProperty(bag, L"FriendlyName").text, L"Card A");
}

TEST_F(DevicesTest, MonikersBindTheirDeviceFilterAndOnlyThroughTheInterfacesItHas) {
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
    ComPtr<IBaseFilter> none;
    EXPECT_EQ(monikers[2]->BindToObject(nullptr, nullptr, IID_IBaseFilter, none.putVoid()), kNoSuchValue);
    EXPECT_FALSE(none);
}

TEST_F(DevicesTest, DisplayNamesNameHardwareByItsDevicePath) {
    const auto monikers = allVideoInputs();
    ASSERT_EQ(monikers.size(), 3u);
    LPOLESTR name = nullptr;
    ASSERT_EQ(monikers[0]->GetDisplayName(nullptr, nullptr, &name), S_OK);
    EXPECT_STREQ(name, L"@device:pnp:\\\\?\\pci#card_a#1");
    CoTaskMemFree(name);
    name = nullptr;
    ASSERT_EQ(monikers[1]->GetDisplayName(nullptr, nullptr, &name), S_OK);
    EXPECT_NE(std::wstring(name).find(L"@device:sw:"), std::wstring::npos);
    CoTaskMemFree(name);
}

TEST_F(DevicesTest, FaultsAimAtOneMonikerByNameAndRepeatsAreNumbered) {
    simulation().faults().add({"Moniker: Card A #2", "BindToStorage", static_cast<std::int32_t>(E_FAIL), 0, FaultKind::Fail});
    simulation().faults().add({"PropertyBag: VideoInputDevice #3", "Read", static_cast<std::int32_t>(E_OUTOFMEMORY), 0,
                               FaultKind::Fail});
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

TEST_F(DevicesTest, ANullResultFaultSucceedsWithoutAnEnumerator) {
    simulation().faults().add({"SystemDeviceEnum", "CreateClassEnumerator", 0, 1, FaultKind::NullResult});
    ComPtr<IEnumMoniker> monikers;
    EXPECT_EQ(devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(), 0), S_OK);
    EXPECT_FALSE(monikers);
    EXPECT_TRUE(videoInputs());
}

TEST_F(DevicesTest, TheJournalRecordsEachCallWithItsArgumentsAndResult) {
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
