#include <gtest/gtest.h>

#include <sstream>

#include "ModuleTestSupport.h"
#include "frame/Entry.h"
#include "frame/TestEntries.h"
#include "mirt5/DiagModule.h"
#include "qis/ErrorStream.h"
#include "qis/Exception.h"

namespace qisrtvcard {
namespace {

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

// The version's text and numbers are the host test's; what it cannot see is the error stream.
TEST_F(ModuleEntry, VersionSucceedsWithNothingOnTheErrorStream) {
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_TRUE(errors_.str().empty());
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
