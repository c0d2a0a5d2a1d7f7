#pragma once
// The module's catalogue: module-wide handles to the framework objects, named by their keys.
// The framework owns the objects; the handles live for the whole process.

#include "mirt5/DiagModule.h"

namespace qisrtvcard {

// Tests.
extern mirt5::Test* TVSignalTest;
extern mirt5::Test* CaptureToScreenTestHandle;
extern mirt5::Test* CaptureToFileTestHandle;
extern mirt5::Test* FMRadioTest;
extern mirt5::Test* DigitalTVSignalTestHandle;
extern mirt5::Test* ClearQAMTestHandle;

// Events.
extern mirt5::Event* WarningWindowSetupProblem;
extern mirt5::Event* WarningDeviceNotFound;
extern mirt5::Event* WarningHardwareDoesNotSupportAnalogTVCapture;
extern mirt5::Event* ErrorCreatingFilterGraph;
extern mirt5::Event* ErrorRenderingVideoStream;
extern mirt5::Event* ErrorNoSignalDetected;
extern mirt5::Event* ErrorNoSignal;
extern mirt5::Event* ErrorNoSignalWithTip;
extern mirt5::Event* InfoSignalDetected;
extern mirt5::Event* MediaCenterIsRunning;
extern mirt5::Event* ErrorNoSignalQC;

// Localized strings.
extern mirt5::LocalizedString* CheckCableConnectedMessage;
extern mirt5::LocalizedString* CheckCableConnectedTitle;
extern mirt5::LocalizedString* TestingChannel;
extern mirt5::LocalizedString* DefaultName;
extern mirt5::LocalizedString* PleaseSelectCountry;
extern mirt5::LocalizedString* OKButton;
extern mirt5::LocalizedString* CaptureToFileTitle;
extern mirt5::LocalizedString* CaptureToScreenTitle;
extern mirt5::LocalizedString* OCURWarningMessage;
extern mirt5::LocalizedString* DigitalSignalTestWndTitle;
extern mirt5::LocalizedString* ErrorRunFailed;

// Parameters.
extern mirt5::Parameter* TVStartChannel;
extern mirt5::Parameter* TVEndChannel;
extern mirt5::Parameter* FMRadioStartChannel;
extern mirt5::Parameter* FMRadioEndChannel;
extern mirt5::Parameter* MsgBoxTimeout;
extern mirt5::Parameter* CheckTVCable;
extern mirt5::Parameter* StopOnSignal;
extern mirt5::Parameter* ChecksPerChannel;
extern mirt5::Parameter* SignalType;
extern mirt5::Parameter* DigitalStartChannel;
extern mirt5::Parameter* DigitalEndChannel;
extern mirt5::Parameter* AskCountryCode1;
extern mirt5::Parameter* AskCountryCode2;
extern mirt5::Parameter* UseMinorChannelTechnique;
extern mirt5::Parameter* TouchscreenFactor;

// Attaches parameters and device-property exclusions to the tests; the framework calls it once
// after start-up, before any test runs.
void moduleInit();

} // namespace qisrtvcard
