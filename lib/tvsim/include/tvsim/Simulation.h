#pragma once
// The running virtual system: its scenario, clock, journal, fault plan, the audit of live
// objects, and the factory that hands out simulated objects by class id.

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include <objbase.h>

#include "qis/System.h"
#include "tvsim/Faults.h"
#include "tvsim/Journal.h"
#include "tvsim/Scenario.h"
#include "tvsim/WindowWatch.h"

namespace tvsim {

class SimObjectBase;

struct LiveObject {
    qis::String name;
    unsigned long references;
};

class Simulation {
public:
    struct Options {
        bool realtime = false; // every wait also takes its wall time, for watching the window
        std::function<void()> requestStop = {}; // what the scenario's stop request does
        bool journalWindows = false;            // journal the windows of the threads that call the system
    };

    // Installs itself as the current simulation and its clock as the foundation's clock; the
    // destructor undoes both. One simulation at a time.
    explicit Simulation(Scenario scenario) : Simulation(std::move(scenario), Options()) {}
    Simulation(Scenario scenario, Options options);
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    static Simulation& current();
    static Simulation* active();

    const Scenario& scenario() const { return scenario_; }
    Journal& journal() { return journal_; }
    FaultPlan& faults() { return faults_; }
    // Virtual: a caller may coarsen how far each read of it moves time on (its poll step).
    qis::VirtualClock& clock();
    // Virtual time since the simulation started: the same with or without realtime.
    qis::Nanoseconds elapsed();

    void track(SimObjectBase* object);
    void untrack(SimObjectBase* object);
    std::vector<LiveObject> liveObjects() const;

    // Called on every call into the system: starts watching the calling thread's windows when
    // they are journaled.
    void noticeThread() {
        if (windows_) windows_->watchThisThread();
    }

    // The value the scenario scripts for this call of the method, counting the call; nothing
    // when the method is not scripted or its list is used up.
    std::optional<long> scriptedValue(const qis::String& object, const char* method);

    // CoCreateInstance of the virtual system: REGDB_E_CLASSNOTREG for classes it does not have.
    HRESULT createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, void** object);

private:
    Scenario scenario_;
    Options options_;
    Journal journal_;
    FaultPlan faults_;
    // Virtual time that, paced, is never ahead of the wall clock: a wait, slept or polled, then
    // takes its wall time too, while the times read stay those of an unpaced run.
    class PacedClock final : public qis::VirtualClock {
    public:
        explicit PacedClock(bool paced) : paced_(paced) {}
        qis::Nanoseconds now() override;
        void sleepFor(qis::Nanoseconds duration) override;

    private:
        void keepPace(qis::Nanoseconds virtualNow);

        bool paced_;
        qis::SteadyClock wall_;
        qis::Nanoseconds wallStart_ = wall_.now();
    };
    PacedClock clock_;
    qis::Clock* previousClock_ = nullptr;
    qis::Nanoseconds started_{};
    mutable std::mutex mutex_;
    std::set<SimObjectBase*> live_;
    std::map<std::pair<qis::String, qis::String>, std::size_t> scriptedCalls_;
    std::unique_ptr<WindowWatch> windows_;
    unsigned stopCalls_ = 0;
    bool stopSent_ = false;

    void watchForStop(const Call& call);
};

// CoInitializeEx of the virtual system: a fault rule for object "COM", method "CoInitializeEx"
// makes it fail; otherwise it is the system's.
HRESULT WINAPI initializeCom(LPVOID reserved, DWORD model);
// CoUninitialize of the virtual system, journaled.
void WINAPI uninitializeCom();

// The factory function the module installs in place of CoCreateInstance.
HRESULT WINAPI createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object);

} // namespace tvsim
