// The MPEG-2 demultiplexer: output pins made on request, stream ids mapped to them.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "SystemFilters.h"

namespace tvsim {
namespace {

class StreamIdEnumerator final : public SimObject<IEnumStreamIdMap> {
public:
    StreamIdEnumerator(qis::String name, std::vector<STREAM_ID_MAP> maps, std::size_t position = 0)
        : SimObject(std::move(name)), maps_(std::move(maps)), position_(position) {}

    STDMETHODIMP Next(ULONG count, STREAM_ID_MAP* out, ULONG* received) override {
        return call("Next", [&]() -> HRESULT {
            if (!out || (count > 1 && !received)) return E_POINTER;
            ULONG n = 0;
            while (n < count && position_ < maps_.size()) out[n++] = maps_[position_++];
            if (received) *received = n;
            return n == count ? S_OK : S_FALSE;
        });
    }
    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = maps_.size() - position_;
        position_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(IEnumStreamIdMap** out) override {
        if (!out) return E_POINTER;
        *out = new StreamIdEnumerator(simName(), maps_, position_);
        return S_OK;
    }

private:
    std::vector<STREAM_ID_MAP> maps_;
    std::size_t position_;
};

// The stream-id map of one output pin; it shares the pin's (that is, the filter's) reference
// count, as interfaces of a pin do.
class StreamIdMap final : public IMPEG2StreamIdMap {
public:
    StreamIdMap(SimPin& owner, std::vector<STREAM_ID_MAP> maps) : pin_(owner), maps_(std::move(maps)) {}

    const SimPin& pin() const { return pin_; }
    const std::vector<STREAM_ID_MAP>& maps() const { return maps_; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return pin_.QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return pin_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return pin_.Release(); }

    STDMETHODIMP MapStreamId(ULONG streamId, DWORD content, ULONG substream, int offset) override {
        return journaledCall(journalName(), "MapStreamId", [&]() -> HRESULT {
            // Program-stream ids are the PES stream ids 0xBC..0xFF.
            if (streamId < 0xBC || streamId > 0xFF || content > MPEG2_PROGRAM_SYSTEM_HEADER) return E_INVALIDARG;
            std::erase_if(maps_, [&](const STREAM_ID_MAP& map) { return map.stream_id == streamId; });
            maps_.push_back({streamId, content, substream, offset});
            return S_OK;
        }, qis::String::number(static_cast<unsigned long>(streamId)));
    }

    STDMETHODIMP UnmapStreamId(ULONG count, ULONG* streamIds) override {
        return journaledCall(journalName(), "UnmapStreamId", [&]() -> HRESULT {
            if (count && !streamIds) return E_POINTER;
            for (ULONG i = 0; i < count; ++i)
                if (std::none_of(maps_.begin(), maps_.end(), [&](const STREAM_ID_MAP& map) { return map.stream_id == streamIds[i]; }))
                    return E_INVALIDARG;
            for (ULONG i = 0; i < count; ++i)
                std::erase_if(maps_, [&](const STREAM_ID_MAP& map) { return map.stream_id == streamIds[i]; });
            return S_OK;
        });
    }

    STDMETHODIMP EnumStreamIdMap(IEnumStreamIdMap** out) override {
        return journaledCallOut(journalName(), "EnumStreamIdMap", out, [&] {
            *out = make<StreamIdEnumerator>(journalName() + ".StreamIdMap", maps_).detach();
            return S_OK;
        });
    }

private:
    qis::String journalName() const { return pin_.owner().simName() + "." + pin_.name(); }

    SimPin& pin_;
    std::vector<STREAM_ID_MAP> maps_;
};

// Splits an MPEG-2 program or transport stream into elementary streams on output pins that the
// application creates and maps. (Only the program-stream mapping, IMPEG2StreamIdMap, is offered.)
class Mpeg2Demultiplexer final : public PinSetFilter, public IMpeg2Demultiplexer {
public:
    Mpeg2Demultiplexer() : PinSetFilter("MPEG2Demultiplexer", CLSID_MPEG2Demultiplexer) {
        std::vector<MediaType> accepted;
        for (const GUID* subtype : kMpeg2Streams)
            for (const MediaType& type : streamTypes({subtype})) accepted.push_back(type);
        input_ = &listPin("MPEG-2 Stream", PINDIR_INPUT, std::move(accepted));
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    STDMETHODIMP CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin) override {
        return callOut("CreateOutputPin", pin, [&]() -> HRESULT {
            if (!type || !name || !*name || std::wcslen(name) >= 128) return E_INVALIDARG;
            if (listedPin(qis::String(name))) return VFW_E_DUPLICATE_NAME;
            SimPin& created = listPin(qis::String(name), PINDIR_OUTPUT, {MediaType::from(*type)});
            expose(created, {});
            *pin = &created;
            created.AddRef();
            return S_OK;
        }, qis::String(name ? name : L""));
    }

    STDMETHODIMP SetOutputPinMediaType(LPWSTR name, AM_MEDIA_TYPE* type) override {
        return call("SetOutputPinMediaType", [&]() -> HRESULT {
            if (!name || !type) return E_POINTER;
            SimPin* pin = outputPin(name);
            if (!pin) return VFW_E_NOT_FOUND;
            // A connected pin would have to be reconnected with the new type; that is not modelled.
            if (pin->isConnected()) return VFW_E_ALREADY_CONNECTED;
            const std::vector<STREAM_ID_MAP> maps = mapOf(*pin).maps();
            expose(replacePin(*pin, {MediaType::from(*type)}), maps);
            return S_OK;
        }, qis::String(name ? name : L""));
    }

    STDMETHODIMP DeleteOutputPin(LPWSTR name) override {
        return call("DeleteOutputPin", [&]() -> HRESULT {
            if (!name) return E_POINTER;
            SimPin* pin = outputPin(name);
            if (!pin) return VFW_E_NOT_FOUND;
            if (state() != State_Stopped) return VFW_E_NOT_STOPPED;
            if (IPin* peer = pin->peer()) peer->Disconnect();
            pin->breakConnection();
            unlistPin(*pin);
            return S_OK;
        }, qis::String(name ? name : L""));
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IMpeg2Demultiplexer) return static_cast<IMpeg2Demultiplexer*>(this);
        return SimFilter::extraInterface(iid);
    }

    // Fed a transport stream by a BDA graph, the demultiplexer makes its own output pins for the
    // program's video and audio and for the tables; a program stream gets pins only on request.
    void refreshPins() override {
        if (transportPins_ || !input_->isConnected()) return;
        const GUID& subtype = input_->connectionType().subtype;
        if (subtype != MEDIASUBTYPE_MPEG2_TRANSPORT && subtype != MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE && subtype != kBdaMpeg2Transport) return;
        transportPins_ = true;
        const int pins = Simulation::current().scenario().demultiplexerOutputPins;
        if (pins > 0) listPin("001", PINDIR_OUTPUT, {makeType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video)});
        if (pins > 1) listPin("002", PINDIR_OUTPUT, {makeType(MEDIATYPE_Audio, MEDIASUBTYPE_MPEG2_AUDIO, FORMAT_WaveFormatEx)});
        if (pins > 2) listPin("003", PINDIR_OUTPUT, {makeType(MEDIATYPE_MPEG2_SECTIONS, MEDIASUBTYPE_MPEG2DATA, GUID_NULL)});
    }

private:
    SimPin* outputPin(LPCWSTR name) const {
        SimPin* pin = listedPin(qis::String(name));
        return pin && pin->direction() == PINDIR_OUTPUT ? pin : nullptr;
    }

    void expose(SimPin& pin, std::vector<STREAM_ID_MAP> maps) {
        maps_.push_back(std::make_unique<StreamIdMap>(pin, std::move(maps)));
        pin.expose(IID_IMPEG2StreamIdMap, static_cast<IMPEG2StreamIdMap*>(maps_.back().get()));
    }

    StreamIdMap& mapOf(const SimPin& pin) const {
        for (const auto& map : maps_)
            if (&map->pin() == &pin) return *map;
        throw std::logic_error("an output pin without its stream-id map");
    }

    std::vector<std::unique_ptr<StreamIdMap>> maps_; // kept for the filter's life: clients may hold them
    SimPin* input_;
    bool transportPins_ = false;
};

} // namespace

ComPtr<IUnknown> createMpeg2Demultiplexer(Simulation&) {
    ComPtr<Mpeg2Demultiplexer> demux = make<Mpeg2Demultiplexer>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(demux.get())));
}

} // namespace tvsim
