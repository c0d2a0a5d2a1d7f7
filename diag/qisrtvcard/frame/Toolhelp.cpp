#include "frame/Toolhelp.h"

#include <atomic>

namespace qisrtvcard {
namespace {

const ToolhelpApi kSystem = {CreateToolhelp32Snapshot, Process32FirstW, Process32NextW, CloseHandle};
std::atomic<const ToolhelpApi*> g_installed{nullptr};

} // namespace

const ToolhelpApi& toolhelp() {
    const ToolhelpApi* installed = g_installed.load();
    return installed ? *installed : kSystem;
}

const ToolhelpApi* setToolhelp(const ToolhelpApi* api) { return g_installed.exchange(api); }

} // namespace qisrtvcard
