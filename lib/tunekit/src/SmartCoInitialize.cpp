#include "tunekit/SmartCoInitialize.h"

#include <atomic>

#include "tunekit/ErrorHandler.h"

namespace tunekit {
namespace {

std::atomic<ComInitializer> g_initializer{nullptr};
std::atomic<ComUninitializer> g_uninitializer{nullptr};

} // namespace

HRESULT initializeCom(DWORD model) {
    const ComInitializer initializer = g_initializer.load();
    return initializer ? initializer(nullptr, model) : CoInitializeEx(nullptr, model);
}

ComInitializer setComInitializer(ComInitializer initializer) { return g_initializer.exchange(initializer); }

void uninitializeCom() {
    const ComUninitializer uninitializer = g_uninitializer.load();
    if (uninitializer)
        uninitializer();
    else
        CoUninitialize();
}

ComUninitializer setComUninitializer(ComUninitializer uninitializer) { return g_uninitializer.exchange(uninitializer); }

SmartCoInitialize::~SmartCoInitialize() {
    if (initialized_) uninitializeCom();
}

bool SmartCoInitialize::initialize() {
    if (initialized_) return true;
    const HRESULT hr = initializeCom(model_);
    if (FAILED(hr)) {
        error_ = ErrorHandler::errorMessageFromHr(hr);
        return false;
    }
    initialized_ = true;
    error_ = qis::String();
    return true;
}

} // namespace tunekit
