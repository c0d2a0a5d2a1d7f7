#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "qis/ErrorStream.h"
#include "qis/FileSystem.h"
#include "qis/Locale.h"
#include "qis/System.h"

namespace fs = std::filesystem;
using qis::QISLocale;

static double seconds(qis::Nanoseconds duration) { return std::chrono::duration<double>(duration).count(); }

TEST(VirtualTime, SleepsAdvanceVirtualTimeAtOnceAndBusyWaitsEnd) {
    qis::VirtualClock clock;
    qis::ScopedClock scoped(clock);
    const auto wallStart = std::chrono::steady_clock::now();
    qis::System::sleep(10.0);
    EXPECT_DOUBLE_EQ(seconds(clock.elapsed()), 10.0);
    qis::System::sleepMilliseconds(250);
    qis::System::sleep(-1.0); // never turns time back
    EXPECT_DOUBLE_EQ(seconds(clock.elapsed()), 10.25);
    qis::Stopwatch watch;
    // Only the poll step moves time here; the bound turns a hang into a failure.
    for (int polls = 0; polls < 10'000'000 && watch.elapsedSeconds() <= 3.0; ++polls) {
    }
    EXPECT_GT(watch.elapsedSeconds(), 3.0);
    EXPECT_LT(std::chrono::steady_clock::now() - wallStart, std::chrono::seconds(1));
}

TEST(VirtualTime, ScopedClockRestoresThePreviousClock) {
    qis::Clock* wall = &qis::System::clock();
    EXPECT_NE(dynamic_cast<qis::SteadyClock*>(wall), nullptr);
    qis::VirtualClock outer, inner;
    {
        qis::ScopedClock outerScope(outer);
        {
            qis::ScopedClock innerScope(inner);
            EXPECT_EQ(&qis::System::clock(), &inner);
        }
        EXPECT_EQ(&qis::System::clock(), &outer);
    }
    EXPECT_EQ(&qis::System::clock(), wall);
}

TEST(VirtualTime, WithoutVirtualClockSleepTakesRealTime) {
    qis::Stopwatch watch;
    qis::System::sleepMilliseconds(20);
    EXPECT_GE(watch.elapsedSeconds(), 0.019);
}

// The global locale is process-wide; each test leaves it as it found it.
class GlobalLocale : public ::testing::Test {
protected:
    void TearDown() override { QISLocale::setGlobalLocale(saved_); }

private:
    QISLocale saved_ = QISLocale::getGlobalLocale();
};

TEST_F(GlobalLocale, LanguageIsPrimarySubtagButChineseKeepsItsRegion) {
    EXPECT_EQ(QISLocale::getGlobalLocale().getLanguage().toString(), "en");
    const QISLocale austria("de-AT");
    EXPECT_EQ(austria.getLanguage().toString(), "de");
    EXPECT_EQ(austria.getCountry(), "AT");
    EXPECT_EQ(QISLocale("zh-TW").getLanguage().toString(), "zh-TW");
    EXPECT_EQ(QISLocale("zh-tw").getLanguage().toString(), "zh-tw");
    EXPECT_EQ(QISLocale("de_AT").toString(), "de-AT");
}

TEST_F(GlobalLocale, SetThenGetRoundTrips) {
    QISLocale::setGlobalLocale(QISLocale("zh-TW"));
    EXPECT_EQ(QISLocale::getGlobalLocale().toString(), "zh-TW");
}

TEST(FileSystem, ExistsAndRemoveFileWorkWithNonAsciiNames) {
    const std::string stamp = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    const fs::path path =
        fs::temp_directory_path() / (u8"qis-Gr\u00F6\u00DFe-" + std::u8string(stamp.begin(), stamp.end()) + u8".tmp");
    const std::u8string text = path.u8string();
    const qis::String name(std::string(text.begin(), text.end()));

    EXPECT_FALSE(qis::FileSystem::exists(name));
    std::ofstream(path) << "x";
    EXPECT_TRUE(qis::FileSystem::exists(name));
    EXPECT_TRUE(qis::FileSystem::removeFile(name));
    EXPECT_FALSE(qis::FileSystem::removeFile(name));
}

TEST(ErrorStream, RedirectedTargetCapturesTextExactly) {
    std::ostringstream captured;
    EXPECT_EQ(qis::cerr.setTarget(&captured), nullptr);
    qis::cerr << "tuner " << qis::QISValue(2) << ": " << qis::String("no lock\n");
    EXPECT_EQ(qis::cerr.setTarget(nullptr), &captured);
    qis::cerr << ""; // back on standard error: the old target gets nothing more
    EXPECT_EQ(captured.str(), "tuner 2: no lock\n");
}
