#include "tunekit/SmartCoInitialize.h"

#include <atomic>

#include "tunekit/ErrorHandler.h"

namespace tunekit {
namespace {

std::atomic<SmartCoInitialize::InitFunction> g_init{nullptr};

} // namespace

SmartCoInitialize::~SmartCoInitialize() {
    if (initialized_) CoUninitialize();
}

bool SmartCoInitialize::initialize() {
    if (initialized_) return true;
    const InitFunction init = g_init.load();
    const HRESULT hr = init ? init(nullptr, model_) : CoInitializeEx(nullptr, model_);
    if (FAILED(hr)) {
        error_ = ErrorHandler::errorMessageFromHr(hr);
        return false;
    }
    initialized_ = true;
    error_ = qis::String();
    return true;
}

SmartCoInitialize::InitFunction SmartCoInitialize::setInitFunction(InitFunction function) { return g_init.exchange(function); }

} // namespace tunekit
