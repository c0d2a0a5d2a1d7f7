#include "tvsim/Processes.h"

#include <cwchar>
#include <memory>
#include <vector>

#include "tvsim/Simulation.h"

namespace tvsim {
namespace {

struct Snapshot {
    std::vector<std::wstring> names;
    std::size_t next = 0;
};

constexpr const char* kObject = "Toolhelp";

bool injected(const char* method, std::int32_t success, std::int32_t failure) {
    Simulation& simulation = Simulation::current();
    const bool fails = simulation.faults().check(kObject, method).has_value();
    simulation.journal().record({kObject, method, qis::String(), fails ? failure : success, fails});
    return fails;
}

BOOL fill(Snapshot* snapshot, LPPROCESSENTRY32W entry) {
    if (!snapshot || !entry || entry->dwSize < sizeof(PROCESSENTRY32W) || snapshot->next >= snapshot->names.size()) {
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    }
    const std::wstring& name = snapshot->names[snapshot->next];
    entry->th32ProcessID = static_cast<DWORD>(1000 + 4 * snapshot->next);
    entry->cntThreads = 1;
    wcsncpy_s(entry->szExeFile, MAX_PATH, name.c_str(), _TRUNCATE);
    ++snapshot->next;
    return TRUE;
}

} // namespace

HANDLE WINAPI createProcessSnapshot(DWORD, DWORD) {
    if (injected("CreateToolhelp32Snapshot", 0, -1)) return INVALID_HANDLE_VALUE;
    auto snapshot = std::make_unique<Snapshot>();
    // Windows lists its idle and kernel processes first, whatever else runs.
    snapshot->names = {L"[System Process]", L"System"};
    for (const auto& name : Simulation::current().scenario().processes) snapshot->names.push_back(name.wide());
    return reinterpret_cast<HANDLE>(snapshot.release());
}

BOOL WINAPI firstProcess(HANDLE handle, LPPROCESSENTRY32W entry) {
    if (injected("Process32FirstW", 1, 0)) return FALSE;
    auto* snapshot = reinterpret_cast<Snapshot*>(handle);
    if (snapshot) snapshot->next = 0;
    return fill(snapshot, entry);
}

BOOL WINAPI nextProcess(HANDLE handle, LPPROCESSENTRY32W entry) { return fill(reinterpret_cast<Snapshot*>(handle), entry); }

BOOL WINAPI closeProcessSnapshot(HANDLE handle) {
    delete reinterpret_cast<Snapshot*>(handle);
    return TRUE;
}

} // namespace tvsim
