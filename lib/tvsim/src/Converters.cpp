// Filters the graph manager puts in on its own: the scenario's converters (decoders) and the
// audio renderer that Render ends audio streams in.
#include "tvsim/Converters.h"

#include "tvsim/Filter.h"

namespace tvsim {
namespace {

// Takes one type and gives another; passes the picture of its input through.
class Converter final : public SimFilter {
public:
    explicit Converter(const ConverterSpec& spec) : SimFilter(spec.name, GUID_NULL) {
        addPin("In", PINDIR_INPUT, {MediaType::named(spec.input)});
        addPin("Out", PINDIR_OUTPUT, {MediaType::named(spec.output)});
    }
};

class AudioRenderer final : public SimFilter {
public:
    AudioRenderer() : SimFilter("AudioRenderer", CLSID_DSoundRender) { addPin("Audio Input pin (rendered)", PINDIR_INPUT, {MediaType::named("Audio")}); }
};

} // namespace

tunekit::ComPtr<IBaseFilter> createConverter(const ConverterSpec& spec) { return make<Converter>(spec); }

tunekit::ComPtr<IUnknown> createAudioRenderer(Simulation&) {
    tunekit::ComPtr<AudioRenderer> renderer = make<AudioRenderer>();
    return tunekit::ComPtr<IUnknown>(static_cast<IBaseFilter*>(renderer.get()));
}

} // namespace tvsim
