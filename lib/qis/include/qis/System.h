#pragma once
// Every sleep, wait and stopwatch reads one replaceable clock, so that the simulated system can
// run long scans in virtual time.

#include <atomic>
#include <chrono>
#include <mutex>

namespace qis {

using Nanoseconds = std::chrono::nanoseconds;

class Clock {
public:
    virtual ~Clock() = default;
    // Monotonic: never goes back.
    virtual Nanoseconds now() = 0;
    virtual void sleepFor(Nanoseconds duration) = 0;
};

// The wall clock: std::chrono::steady_clock and a real sleep.
class SteadyClock final : public Clock {
public:
    Nanoseconds now() override;
    void sleepFor(Nanoseconds duration) override;
};

// Time that passes only when somebody sleeps or advances it. Each reading of now() moves it on
// by a small poll step, so a busy wait on a stopwatch ends.
class VirtualClock : public Clock {
public:
    explicit VirtualClock(Nanoseconds pollStep = std::chrono::milliseconds(1)) : pollStep_(pollStep) {}
    Nanoseconds now() override;
    void sleepFor(Nanoseconds duration) override;
    void advance(Nanoseconds duration);
    // The time without taking a poll step (for reports and tests).
    Nanoseconds elapsed() const { return Nanoseconds(now_.load()); }
    void setPollStep(Nanoseconds step) { pollStep_ = step; }

private:
    std::atomic<long long> now_{0};
    Nanoseconds pollStep_;
};

class System {
public:
    static void sleep(double seconds);
    static void sleepMilliseconds(unsigned long milliseconds);
    static Nanoseconds monotonicTime();

    static Clock& clock();
    // Null restores the wall clock. Returns the clock that was installed before.
    static Clock* setClock(Clock* clock);
};

// Installs a clock for one scope.
class ScopedClock {
public:
    explicit ScopedClock(Clock& clock) : previous_(System::setClock(&clock)) {}
    ~ScopedClock() { System::setClock(previous_); }
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;

private:
    Clock* previous_;
};

class Stopwatch {
public:
    Stopwatch() { start(); }
    void start() { started_ = System::monotonicTime(); }
    double elapsedSeconds() const;
    unsigned long elapsedMilliseconds() const;

private:
    Nanoseconds started_{};
};

} // namespace qis
