#include "tunekit/SmartCoInitialize.h"

#include <atomic>

#include "tunekit/ErrorHandler.h"

namespace tunekit {
namespace {

std::atomic<ComInitializer> g_initializer{nullptr};

} // namespace

HRESULT initializeCom(DWORD model) {
    const ComInitializer initializer = g_initializer.load();
    return initializer ? initializer(nullptr, model) : CoInitializeEx(nullptr, model);
}

ComInitializer setComInitializer(ComInitializer initializer) { return g_initializer.exchange(initializer); }

SmartCoInitialize::~SmartCoInitialize() {
    if (initialized_) CoUninitialize();
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
