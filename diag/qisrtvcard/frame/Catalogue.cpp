// Static registration. Within this file the handles are initialised in the order they are
// defined, which is the order the framework lists them: tests, events, localized strings,
// parameters.
#include "frame/Catalogue.h"

#include "frame/TestEntries.h"

namespace qisrtvcard {

using mirt5::DataType;
using mirt5::DeviceCapability;
using mirt5::DiagModule;

mirt5::Test* TVSignalTest =
    DiagModule::createTest("TVSignalTest",
                           DeviceCapability::VideoCapture() | DeviceCapability::VideoCaptureBaseFilter() |
                               DeviceCapability::AnalogTVTuner(),
                           AnalogTVSignalTest)
        ->setInteractive(true);
mirt5::Test* CaptureToScreenTestHandle = DiagModule::createTest(
    "CaptureToScreenTest", DeviceCapability::VideoCapture() | DeviceCapability::VideoCaptureBaseFilter(), CaptureToScreenTest);
mirt5::Test* CaptureToFileTestHandle = DiagModule::createTest(
    "CaptureToFileTest", DeviceCapability::VideoCapture() | DeviceCapability::VideoCaptureBaseFilter(), CaptureToFileTest);
mirt5::Test* FMRadioTest =
    DiagModule::createTest("FMRadioTest",
                           DeviceCapability::VideoCapture() | DeviceCapability::VideoCaptureBaseFilter() |
                               DeviceCapability::AnalogFMRadioTuner(),
                           FMRadioSignalTest);
mirt5::Test* DigitalTVSignalTestHandle = DiagModule::createTest(
    "DigitalTVSignalTest", DeviceCapability::VideoCapture() | DeviceCapability::DigitalTVTuner(), DigitalTVSignalTest);
mirt5::Test* ClearQAMTestHandle =
    DiagModule::createTest("ClearQAMTest", DeviceCapability::VideoCapture() | DeviceCapability::DigitalTVTuner(), ClearQAMTest)
        ->addDevicePropertyRequirement("EnableQAM", "");

mirt5::Event* WarningWindowSetupProblem = DiagModule::createEvent("WarningWindowSetupProblem");
mirt5::Event* WarningDeviceNotFound = DiagModule::createEvent("WarningDeviceNotFound");
mirt5::Event* WarningHardwareDoesNotSupportAnalogTVCapture =
    DiagModule::createEvent("WarningHardwareDoesNotSupportAnalogTVCapture");
mirt5::Event* ErrorCreatingFilterGraph = DiagModule::createEvent("ErrorCreatingFilterGraph");
mirt5::Event* ErrorRenderingVideoStream = DiagModule::createEvent("ErrorRenderingVideoStream");
mirt5::Event* ErrorNoSignalDetected = DiagModule::createEvent("ErrorNoSignalDetected");
mirt5::Event* ErrorNoSignal = DiagModule::createEvent("ErrorNoSignal");
mirt5::Event* ErrorNoSignalWithTip = DiagModule::createEvent("ErrorNoSignalWithTip");
mirt5::Event* InfoSignalDetected = DiagModule::createEvent("InfoSignalDetected"); // listed for hosts, never raised
mirt5::Event* MediaCenterIsRunning = DiagModule::createEvent("MediaCenterIsRunning");
mirt5::Event* ErrorNoSignalQC = DiagModule::createEvent("ErrorNoSignalQC");

mirt5::LocalizedString* CheckCableConnectedMessage = DiagModule::createLocalizedString("CheckCableConnectedMessage");
mirt5::LocalizedString* CheckCableConnectedTitle = DiagModule::createLocalizedString("CheckCableConnectedTitle");
mirt5::LocalizedString* TestingChannel = DiagModule::createLocalizedString("TestingChannel");
mirt5::LocalizedString* DefaultName = DiagModule::createLocalizedString("DefaultName");
mirt5::LocalizedString* PleaseSelectCountry = DiagModule::createLocalizedString("PleaseSelectCountry");
mirt5::LocalizedString* OKButton = DiagModule::createLocalizedString("OKButton");
mirt5::LocalizedString* CaptureToFileTitle = DiagModule::createLocalizedString("CaptureToFileTitle");
mirt5::LocalizedString* CaptureToScreenTitle = DiagModule::createLocalizedString("CaptureToScreenTitle");
mirt5::LocalizedString* OCURWarningMessage = DiagModule::createLocalizedString("OCURWarningMessage");
mirt5::LocalizedString* DigitalSignalTestWndTitle = DiagModule::createLocalizedString("DigitalSignalTestWndTitle");
mirt5::LocalizedString* ErrorRunFailed = DiagModule::createLocalizedString("ErrorRunFailed");

// The module supplies no defaults: the host gives every value a test reads.
mirt5::Parameter* TVStartChannel = DiagModule::createParameter("TVStartChannel", DataType::UINT32(), "", false, true);
mirt5::Parameter* TVEndChannel = DiagModule::createParameter("TVEndChannel", DataType::UINT32(), "", false, true);
mirt5::Parameter* FMRadioStartChannel = DiagModule::createParameter("FMRadioStartChannel", DataType::DOUBLE(), "", false, true);
mirt5::Parameter* FMRadioEndChannel = DiagModule::createParameter("FMRadioEndChannel", DataType::DOUBLE(), "", false, true);
mirt5::Parameter* MsgBoxTimeout = DiagModule::createParameter("MsgBoxTimeout", DataType::UINT32(), "", false, true);
mirt5::Parameter* CheckTVCable = DiagModule::createParameter("CheckTVCable", DataType::BOOLEAN(), "", false, true);
mirt5::Parameter* StopOnSignal = DiagModule::createParameter("StopOnSignal", DataType::BOOLEAN(), "", false, true);
mirt5::Parameter* ChecksPerChannel = DiagModule::createParameter("ChecksPerChannel", DataType::UINT32(), "", false, true);
mirt5::Parameter* SignalType = DiagModule::createParameter("SignalType", DataType::STRING(), "", false, true);
mirt5::Parameter* DigitalStartChannel = DiagModule::createParameter("DigitalStartChannel", DataType::UINT32(), "", false, true);
mirt5::Parameter* DigitalEndChannel = DiagModule::createParameter("DigitalEndChannel", DataType::UINT32(), "", false, true);
mirt5::Parameter* AskCountryCode1 = DiagModule::createParameter("AskCountryCode1", DataType::BOOLEAN(), "", false, true);
mirt5::Parameter* AskCountryCode2 = DiagModule::createParameter("AskCountryCode2", DataType::BOOLEAN(), "", false, true);
mirt5::Parameter* UseMinorChannelTechnique =
    DiagModule::createParameter("UseMinorChannelTechnique", DataType::BOOLEAN(), "", false, true);
// Module-wide: read by the country dialog whatever test runs, attached to none.
mirt5::Parameter* TouchscreenFactor = DiagModule::createParameter("TouchscreenFactor", DataType::DOUBLE(), "", true, true);

void moduleInit() {
    TVSignalTest->addParameter(TVStartChannel);
    TVSignalTest->addParameter(TVEndChannel);
    TVSignalTest->addParameter(MsgBoxTimeout);
    TVSignalTest->addParameter(CheckTVCable);
    TVSignalTest->addParameter(StopOnSignal);
    TVSignalTest->addParameter(ChecksPerChannel);
    TVSignalTest->addParameter(SignalType);
    TVSignalTest->addParameter(AskCountryCode1);
    TVSignalTest->addParameter(AskCountryCode2);

    // The FM test reads neither of the first two; they are attached so that hosts list them.
    FMRadioTest->addParameter(StopOnSignal);
    FMRadioTest->addParameter(ChecksPerChannel);
    FMRadioTest->addParameter(FMRadioStartChannel);
    FMRadioTest->addParameter(FMRadioEndChannel);

    DigitalTVSignalTestHandle->addParameter(MsgBoxTimeout);
    DigitalTVSignalTestHandle->addParameter(CheckTVCable);
    DigitalTVSignalTestHandle->addParameter(DigitalStartChannel);
    DigitalTVSignalTestHandle->addParameter(DigitalEndChannel);
    DigitalTVSignalTestHandle->addParameter(UseMinorChannelTechnique);

    for (mirt5::Test* test : {TVSignalTest, CaptureToScreenTestHandle, CaptureToFileTestHandle, FMRadioTest,
                              DigitalTVSignalTestHandle, ClearQAMTestHandle})
        test->addDevicePropertyExclusion("DeviceVendorID", "10CF")->addDevicePropertyExclusion("DeviceID", "201C|2030");
}

} // namespace qisrtvcard
