// The AVI mux as the system's class makes it.
#include "AviMux.h"

namespace tvsim {

ComPtr<IUnknown> createAviMux(Simulation&) {
    ComPtr<AviMux> mux = make<AviMux>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(mux.get())));
}

// A vendor's MPEG-2 file writer, when the scenario installs one: it takes the streams as the AVI
// mux does (what it writes is not the point; that a capture can fall back to it is).
ComPtr<IUnknown> createMpeg2FileWriter(Simulation&) {
    ComPtr<AviMux> mux = make<AviMux>("MPEG2FileWriter", kMpeg2FileWriterClsid);
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(mux.get())));
}

} // namespace tvsim
