#include "qis/System.h"

#include <thread>

namespace qis {
namespace {

SteadyClock g_wallClock;
std::atomic<Clock*> g_clock{nullptr};

Nanoseconds fromSeconds(double seconds) {
    if (!(seconds > 0)) return Nanoseconds(0);
    return std::chrono::duration_cast<Nanoseconds>(std::chrono::duration<double>(seconds));
}

} // namespace

Nanoseconds SteadyClock::now() {
    return std::chrono::duration_cast<Nanoseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

void SteadyClock::sleepFor(Nanoseconds duration) {
    if (duration.count() > 0) std::this_thread::sleep_for(duration);
}

Nanoseconds VirtualClock::now() { return Nanoseconds(now_.fetch_add(pollStep_.count()) + pollStep_.count()); }

void VirtualClock::sleepFor(Nanoseconds duration) { advance(duration); }

void VirtualClock::advance(Nanoseconds duration) {
    if (duration.count() > 0) now_.fetch_add(duration.count());
}

void System::sleep(double seconds) { clock().sleepFor(fromSeconds(seconds)); }

void System::sleepMilliseconds(unsigned long milliseconds) { clock().sleepFor(std::chrono::milliseconds(milliseconds)); }

Nanoseconds System::monotonicTime() { return clock().now(); }

Clock& System::clock() {
    Clock* installed = g_clock.load();
    return installed ? *installed : g_wallClock;
}

Clock* System::setClock(Clock* clock) { return g_clock.exchange(clock); }

double Stopwatch::elapsedSeconds() const {
    return std::chrono::duration<double>(System::monotonicTime() - started_).count();
}

unsigned long Stopwatch::elapsedMilliseconds() const {
    return static_cast<unsigned long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(System::monotonicTime() - started_).count());
}

} // namespace qis
