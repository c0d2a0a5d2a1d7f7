#pragma once
// The scenario's running processes, listed through functions shaped like the Toolhelp snapshot
// calls. Faults: object "Toolhelp", methods "CreateToolhelp32Snapshot" (gives
// INVALID_HANDLE_VALUE) and "Process32FirstW" (gives FALSE).

#include <windows.h>
#include <tlhelp32.h>

namespace tvsim {

HANDLE WINAPI createProcessSnapshot(DWORD flags, DWORD processId);
BOOL WINAPI firstProcess(HANDLE snapshot, LPPROCESSENTRY32W entry);
BOOL WINAPI nextProcess(HANDLE snapshot, LPPROCESSENTRY32W entry);
BOOL WINAPI closeProcessSnapshot(HANDLE snapshot);

} // namespace tvsim
