// The AVI mux as the system's class makes it.
#include "AviMux.h"

namespace tvsim {

ComPtr<IUnknown> createAviMux(Simulation&) {
    ComPtr<AviMux> mux = make<AviMux>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(mux.get())));
}

} // namespace tvsim
