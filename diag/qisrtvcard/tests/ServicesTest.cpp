// The module's services: the cable prompt, the Media Center guard, tracing and the entry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <sstream>

#include "ModuleTestSupport.h"
#include "frame/Catalogue.h"
#include "frame/Entry.h"
#include "frame/TestEntries.h"
#include "frame/MediaCenter.h"
#include "frame/GraphServices.h"
#include "frame/RetryPrompt.h"
#include "qis/ErrorStream.h"
#include "qis/Exception.h"
#include "qis/System.h"

namespace qisrtvcard {
namespace {

// ---- the cable-check prompt --------------------------------------------------------------

TEST(CablePrompt, UnansweredPromptTimesOutAfterMsgBoxTimeoutSecondsAndRetries) {
    qis::VirtualClock clock;
    qis::ScopedClock useIt(clock);
    testing::Probe probe; // CheckTVCable true, MsgBoxTimeout 30
    int answer = -1;
    probe.run([&](const mirt5::DiagDevice&) {
        answer = RetryDigitalTestDlg();
        return mirt5::TestResult::PASS();
    });
    EXPECT_EQ(answer, RetryAnswerRetry);
    EXPECT_GE(clock.elapsed(), std::chrono::seconds(30));
    ASSERT_EQ(probe.reporter.prompts.size(), 1u);
    const auto& prompt = probe.reporter.prompts.back();
    EXPECT_EQ(prompt.type, 10);
    EXPECT_EQ(prompt.timeoutMs, 30000u);
    EXPECT_EQ(prompt.title, CheckCableConnectedTitle->localizedString());
    EXPECT_EQ(prompt.text, CheckCableConnectedMessage->localizedString());
}

// ---- Media Center guard --------------------------------------------------------------------

// Starts a copy of the idle helper under another executable name and ends it on destruction.
class ProcessUnderName {
public:
    explicit ProcessUnderName(const std::wstring& exeName) {
        wchar_t self[MAX_PATH];
        GetModuleFileNameW(nullptr, self, MAX_PATH);
        const auto helper = std::filesystem::path(self).parent_path() / L"idle_process.exe";
        dir_ = std::filesystem::temp_directory_path() / L"qisrtvcard-mediacenter";
        std::filesystem::create_directories(dir_);
        path_ = dir_ / exeName;
        std::filesystem::copy_file(helper, path_, std::filesystem::copy_options::overwrite_existing);
        std::wstring commandLine = L"\"" + path_.wstring() + L"\" 60";
        STARTUPINFOW startup{sizeof(startup)};
        started_ = CreateProcessW(path_.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                  &startup, &info_) != FALSE;
    }
    ~ProcessUnderName() {
        if (started_) {
            TerminateProcess(info_.hProcess, 0);
            WaitForSingleObject(info_.hProcess, 5000);
            CloseHandle(info_.hProcess);
            CloseHandle(info_.hThread);
        }
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    bool started() const { return started_; }

private:
    std::filesystem::path dir_, path_;
    PROCESS_INFORMATION info_{};
    bool started_ = false;
};

TEST(MediaCenterGuard, SeesMediaCenterProcessesWhateverTheirCase) {
    EXPECT_FALSE(isMediaCenterRunning());
    for (const auto& [name, mediaCenter] : {std::pair{L"EHSHELL.EXE", true}, std::pair{L"ehrec.exe", true}, std::pair{L"ehshell2.exe", false}}) {
        const ProcessUnderName process(name);
        ASSERT_TRUE(process.started());
        EXPECT_EQ(isMediaCenterRunning(), mediaCenter) << qis::String(name).utf8();
    }
}

// ---- tracing ---------------------------------------------------------------------------------

// The running-object-table hook publishes nothing; its scope is traced below info priority.
TEST(TracingConvention, ScopesAreLoggedOnlyBelowInfoPriority) {
    std::vector<qis::LogRecord> records;
    const int sink = qis::LogFactory::addSink([&](const qis::LogRecord& r) { records.push_back(r); });
    const int previous = qis::LogFactory::getPriority();
    DWORD cookie = 0xC0FFEE;

    qis::LogFactory::setPriority(qis::LogPriority::Info);
    EXPECT_EQ(AddGraphToRot(nullptr, &cookie), S_OK);
    EXPECT_EQ(cookie, 0xC0FFEEu) << "the cookie is left alone";
    EXPECT_TRUE(records.empty());

    qis::LogFactory::setPriority(qis::LogPriority::Trace);
    AddGraphToRot(nullptr, &cookie);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].category, "qisrtvcard");
    EXPECT_TRUE(records[0].text.startsWith("Entering AddGraphToRot (qisrtvcard:")) << records[0].text;
    EXPECT_EQ(records[1].text, "Leaving AddGraphToRot");

    qis::LogFactory::setPriority(previous);
    qis::LogFactory::removeSink(sink);
}

// ---- the entry -------------------------------------------------------------------------------

mirt5::TestResult throwingProbe(const mirt5::DiagDevice&) { throw qis::Exception("injected failure"); }

class ModuleEntry : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        testing::initialiseCatalogue();
        mirt5::DiagModule::createTest("ThrowingProbe", mirt5::DeviceCapability(), throwingProbe);
    }
    void SetUp() override { previous_ = qis::cerr.setTarget(&errors_); }
    void TearDown() override { qis::cerr.setTarget(previous_); }

    int run(std::vector<std::string> args) {
        args.insert(args.begin(), "qisrtvcard");
        std::vector<char*> argv;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        return moduleMain(static_cast<int>(args.size()), argv.data());
    }

    std::ostringstream errors_;
    std::ostream* previous_ = nullptr;
};

TEST_F(ModuleEntry, FoundationExceptionEscapingTheFrameworkEndsAbnormallyWithOneLine) {
    const auto device = testing::writeTempFile("probe-device.json", R"({"name": "Probe"})");
    const int code = run({"--test", "ThrowingProbe", "--device", device.string()});
    EXPECT_EQ(code, mirt5::TestResult::EXITEDABNORMALLY().value());
    EXPECT_EQ(errors_.str(), "exception caught: injected failure\n");
}

// The five entries that need a capture device refuse any other under the one text hosts match on,
// before they touch COM or the card.
TEST(TestEntries, ADeviceWithoutVideoCaptureIsRefusedWithTheCapabilityCheckAsItsText) {
    const mirt5::DiagDevice tunerOnly("Tuner only", "", mirt5::DeviceCapability::DigitalTVTuner(), {});
    using Entry = mirt5::TestResult (*)(const mirt5::DiagDevice&);
    for (const Entry entry : {AnalogTVSignalTest, FMRadioSignalTest, CaptureToScreenTest, CaptureToFileTest, DigitalTVSignalTest})
        EXPECT_EQ(testing::assertionOf([&] { entry(tunerOnly); }), "device.intersectCapability(DeviceCapability::VideoCapture())");
}

} // namespace
} // namespace qisrtvcard
