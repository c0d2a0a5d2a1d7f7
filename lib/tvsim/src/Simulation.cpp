#include "tvsim/Simulation.h"

#include <atomic>
#include <thread>

#include "qis/Exception.h"
#include "tvsim/Classes.h"
#include "tvsim/SimObject.h"

namespace tvsim {
namespace {

std::atomic<Simulation*> g_current{nullptr};

qis::String apartmentName(DWORD model) {
    if (model & COINIT_MULTITHREADED) return "COINIT_MULTITHREADED";
    return "COINIT_APARTMENTTHREADED";
}

} // namespace

Simulation::Simulation(Scenario scenario, Options options)
    : scenario_(std::move(scenario)), options_(options), clock_(options.realtime) {
    if (g_current.load()) throw qis::Exception("a simulation is already running");
    for (const auto& rule : scenario_.faults) faults_.add(rule);
    previousClock_ = qis::System::setClock(&clock());
    started_ = clock().now();
    journal_.setClock([this] { return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed()).count(); });
    if (scenario_.stop && options_.requestStop) journal_.addObserver([this](const Call& call) { watchForStop(call); });
    if (options_.journalWindows) windows_ = std::make_unique<WindowWatch>(journal_);
    g_current = this;
}

Simulation::~Simulation() {
    windows_.reset();
    g_current = nullptr;
    qis::System::setClock(previousClock_);
}

Simulation& Simulation::current() {
    Simulation* simulation = g_current.load();
    if (!simulation) throw qis::Exception("no simulation is running");
    return *simulation;
}

Simulation* Simulation::active() { return g_current.load(); }

void Simulation::PacedClock::keepPace(qis::Nanoseconds virtualNow) {
    if (!paced_) return;
    const qis::Nanoseconds ahead = virtualNow - (wall_.now() - wallStart_);
    if (ahead.count() > 0) std::this_thread::sleep_for(ahead);
}

qis::Nanoseconds Simulation::PacedClock::now() {
    const qis::Nanoseconds time = VirtualClock::now();
    keepPace(time);
    return time;
}

void Simulation::PacedClock::sleepFor(qis::Nanoseconds duration) {
    advance(duration);
    keepPace(elapsed());
}

qis::VirtualClock& Simulation::clock() { return clock_; }

qis::Nanoseconds Simulation::elapsed() { return clock_.elapsed() - started_; }

void Simulation::watchForStop(const Call& call) {
    const StopRule& rule = *scenario_.stop;
    if (stopSent_) return;
    bool due = rule.atMs && call.timeMs >= *rule.atMs;
    if (!rule.method.isEmpty() && call.method == rule.method && (rule.object == "*" || rule.object == call.object))
        due = due || ++stopCalls_ == rule.call;
    if (!due) return;
    stopSent_ = true;
    options_.requestStop();
}

std::optional<long> Simulation::scriptedValue(const qis::String& object, const char* method) {
    std::lock_guard lock(mutex_);
    for (const auto& script : scenario_.values) {
        if (script.method != method || (script.object != "*" && script.object != object)) continue;
        const std::size_t n = scriptedCalls_[{script.object, script.method}]++;
        if (n < script.values.size()) return script.values[n];
        return std::nullopt;
    }
    return std::nullopt;
}

void Simulation::track(SimObjectBase* object) {
    std::lock_guard lock(mutex_);
    live_.insert(object);
}

void Simulation::untrack(SimObjectBase* object) {
    std::lock_guard lock(mutex_);
    live_.erase(object);
}

std::vector<LiveObject> Simulation::liveObjects() const {
    std::lock_guard lock(mutex_);
    std::vector<LiveObject> objects;
    for (const SimObjectBase* object : live_) objects.push_back({object->simName(), object->references()});
    return objects;
}

HRESULT Simulation::createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    noticeThread();
    const SimClass* simClass = findClass(clsid);
    if (simClass && simClass->installed && !simClass->installed(scenario_)) simClass = nullptr;
    HRESULT result = REGDB_E_CLASSNOTREG;
    if (simClass) {
        if (const auto fault = faults_.check(simClass->name, "CoCreateInstance")) {
            result = fault->kind == FaultKind::Fail ? static_cast<HRESULT>(fault->result) : S_OK;
            journal_.record({simClass->name, "CoCreateInstance", qis::String(), result, true});
            return result;
        }
        tunekit::ComPtr<IUnknown> created = simClass->create(*this);
        result = created ? created->QueryInterface(iid, object) : E_OUTOFMEMORY;
    }
    journal_.record({simClass ? qis::String(simClass->name) : qis::String("unknown class"), "CoCreateInstance", qis::String(), result, false});
    return result;
}

HRESULT WINAPI initializeCom(LPVOID reserved, DWORD model) {
    Simulation* simulation = Simulation::active();
    if (!simulation) return CoInitializeEx(reserved, model);
    return journaledCall("COM", "CoInitializeEx", [&] { return CoInitializeEx(reserved, model); },
                         Arguments().with("model", apartmentName(model)));
}

void WINAPI uninitializeCom() {
    CoUninitialize();
    if (Simulation* simulation = Simulation::active()) simulation->journal().record(makeCall("COM", "CoUninitialize", {}, S_OK, false));
}

HRESULT WINAPI createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    Simulation* simulation = Simulation::active();
    if (!simulation) return CO_E_NOTINITIALIZED;
    return simulation->createInstance(clsid, outer, context, iid, object);
}

SimObjectBase::SimObjectBase(qis::String name) : name_(std::move(name)) { Simulation::current().track(this); }

SimObjectBase::~SimObjectBase() {
    if (Simulation* simulation = Simulation::active()) simulation->untrack(this);
}

} // namespace tvsim
