// The sample grabber on a transport stream: it passes the stream through and, when asked to,
// keeps a copy of the last sample. Samples are generated MPEG-2 transport stream (188-byte
// packets, a video PID with continuity counters and PCRs, some null packets) whose share of
// damaged packets (transport-error indicator set, a continuity gap) follows the quality the
// scenario gives the tuned channel. They arrive as virtual time passes while the graph runs.
#include <chrono>
#include <cstring>
#include <vector>

#include "tvsim/Bda.h"
#include "tvsim/Filter.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

constexpr std::size_t kPacketBytes = 188;
constexpr std::chrono::milliseconds kSamplePeriod{20};
constexpr unsigned kVideoPid = 0x100;
constexpr unsigned kNullPid = 0x1FFF;
constexpr unsigned kNullEvery = 10;      // one packet in ten is stuffing
constexpr unsigned kPcrEvery = 5;        // one video packet in five carries a PCR
constexpr std::uint64_t kPcrTicksPerPacket = 2095; // 27 MHz ticks of one packet at 19.39 Mbit/s

// Writes the packets of one stream, continuing counters from sample to sample.
class TransportStreamWriter {
public:
    void reset() { *this = TransportStreamWriter(); }

    std::vector<BYTE> sample(std::size_t bytes, long quality) {
        std::vector<BYTE> out;
        out.reserve(bytes + kPacketBytes);
        while (out.size() < bytes) packet(out, quality);
        out.resize(bytes); // a sample may end inside a packet
        return out;
    }

private:
    void packet(std::vector<BYTE>& out, long quality) {
        // Damage is spread evenly: (100 - quality) packets in every hundred.
        errorCredit_ += 100 - quality;
        const bool damaged = errorCredit_ >= 100;
        if (damaged) errorCredit_ -= 100;
        BYTE p[kPacketBytes];
        std::memset(p, 0xFF, sizeof p);
        const bool stuffing = packets_ % kNullEvery == kNullEvery - 1;
        const unsigned pid = stuffing ? kNullPid : kVideoPid;
        p[0] = 0x47;
        p[1] = static_cast<BYTE>((damaged ? 0x80 : 0) | (pid >> 8));
        p[2] = static_cast<BYTE>(pid & 0xFF);
        if (stuffing) {
            p[3] = 0x10;
        } else {
            // A damaged packet also loses its predecessor: the counter jumps by two.
            continuity_ = (continuity_ + (damaged ? 2 : 1)) & 0x0F;
            const bool pcr = videoPackets_++ % kPcrEvery == 0;
            p[3] = static_cast<BYTE>((pcr ? 0x30 : 0x10) | continuity_);
            std::size_t payload = 4;
            if (pcr) {
                const std::uint64_t clock = packets_ * kPcrTicksPerPacket;
                const std::uint64_t base = (clock / 300) & 0x1FFFFFFFFull;
                const unsigned extension = static_cast<unsigned>(clock % 300);
                p[4] = 7;    // adaptation field length
                p[5] = 0x10; // PCR flag
                p[6] = static_cast<BYTE>(base >> 25);
                p[7] = static_cast<BYTE>(base >> 17);
                p[8] = static_cast<BYTE>(base >> 9);
                p[9] = static_cast<BYTE>(base >> 1);
                p[10] = static_cast<BYTE>(((base & 1) << 7) | 0x7E | (extension >> 8));
                p[11] = static_cast<BYTE>(extension & 0xFF);
                payload = 12;
            }
            for (std::size_t i = payload; i < kPacketBytes; ++i) p[i] = static_cast<BYTE>(packets_ + i);
        }
        out.insert(out.end(), p, p + kPacketBytes);
        ++packets_;
    }

    std::uint64_t packets_ = 0;
    std::uint64_t videoPackets_ = 0;
    unsigned continuity_ = 0x0F;
    long errorCredit_ = 0;
};

class SampleGrabber final : public SimFilter, public ISampleGrabber {
public:
    SampleGrabber() : SimFilter("SampleGrabber", tunekit::CLSID_SampleGrabber), lastLook_(Simulation::current().elapsed()) {
        input_ = &addPin("Input", PINDIR_INPUT, {MediaType()});
        MediaType bda, mpeg;
        bda.major = mpeg.major = MEDIATYPE_Stream;
        bda.subtype = kBdaTransport;
        mpeg.subtype = MEDIASUBTYPE_MPEG2_TRANSPORT;
        addPin("Output", PINDIR_OUTPUT, {bda, mpeg});
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    STDMETHODIMP SetOneShot(BOOL oneShot) override {
        return call("SetOneShot", [&] {
            oneShot_ = oneShot != FALSE;
            return S_OK;
        }, qis::String(oneShot ? "TRUE" : "FALSE"));
    }
    STDMETHODIMP SetMediaType(const AM_MEDIA_TYPE* type) override {
        return call("SetMediaType", [&]() -> HRESULT {
            if (!type) return E_POINTER;
            wanted_ = MediaType::from(*type);
            return S_OK;
        });
    }
    STDMETHODIMP GetConnectedMediaType(AM_MEDIA_TYPE* type) override {
        return call("GetConnectedMediaType", [&]() -> HRESULT {
            if (!type) return E_POINTER;
            if (!input_->isConnected()) return VFW_E_NOT_CONNECTED;
            return input_->connectionType().copyTo(*type);
        });
    }
    STDMETHODIMP SetBufferSamples(BOOL buffer) override {
        return call("SetBufferSamples", [&] {
            look();
            buffering_ = buffer != FALSE;
            return S_OK;
        }, qis::String(buffer ? "TRUE" : "FALSE"));
    }
    // As documented: the size alone when `buffer` is null; E_OUTOFMEMORY when it is too small.
    STDMETHODIMP GetCurrentBuffer(LONG* size, LONG* buffer) override {
        return call("GetCurrentBuffer", [&]() -> HRESULT {
            if (!size) return E_POINTER;
            if (!buffering_) return E_INVALIDARG;
            if (!input_->isConnected()) return VFW_E_NOT_CONNECTED;
            look();
            if (!hasSample_) return VFW_E_WRONG_STATE;
            const auto bytes = static_cast<LONG>(sample_.size());
            if (!buffer) {
                *size = bytes;
                return S_OK;
            }
            if (*size < bytes) return E_OUTOFMEMORY;
            std::memcpy(buffer, sample_.data(), sample_.size());
            *size = bytes;
            return S_OK;
        }, buffer ? qis::String::number(static_cast<long>(*size)) : qis::String("size"));
    }
    STDMETHODIMP GetCurrentSample(IMediaSample**) override { return call("GetCurrentSample", [] { return E_NOTIMPL; }); }
    // Only the buffer callback is offered: the samples here are data, not media-sample objects.
    STDMETHODIMP SetCallback(ISampleGrabberCB* callback, LONG which) override {
        return call("SetCallback", [&]() -> HRESULT {
            if (callback && which != 1) return E_NOTIMPL;
            callback_ = ComPtr<ISampleGrabberCB>(callback);
            return S_OK;
        }, qis::String::number(which));
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(ISampleGrabber)) return static_cast<ISampleGrabber*>(this);
        return SimFilter::extraInterface(iid);
    }

    void stateChanged(FILTER_STATE from, FILTER_STATE) override {
        lookWhile(from == State_Running);
        // A run from stopped starts on a flushed stream.
        if (from == State_Stopped) hasSample_ = false;
    }

private:
    void look() { lookWhile(state() == State_Running); }

    // The time since the last look is spent on what upstream delivers now: a new sample at the
    // end of it when a sample period's worth of stream has come.
    void lookWhile(bool running) {
        const qis::Nanoseconds now = Simulation::current().elapsed();
        const qis::Nanoseconds passed = now - lastLook_;
        lastLook_ = now;
        const TransportSource* source = upstreamTransport(*input_);
        const unsigned long tuning = source ? source->tuning() : 0;
        if (tuning != tuning_) {
            // A new tuning: what was buffered belongs to the old channel.
            tuning_ = tuning;
            hasSample_ = false;
            streamed_ = {};
            writer_.reset();
        }
        const DigitalChannelSpec* stream = source ? source->currentStream() : nullptr;
        if (!running || !stream || passed <= qis::Nanoseconds::zero()) return;
        streamed_ += passed;
        if (streamed_ < kSamplePeriod) return;
        streamed_ = {};
        if (oneShot_ && hasSample_) return;
        std::vector<BYTE> sample = writer_.sample(static_cast<std::size_t>(stream->sampleBytes), stream->quality);
        if (buffering_) {
            sample_ = sample;
            hasSample_ = true;
        }
        if (callback_)
            callback_->BufferCB(static_cast<double>(now.count()) / 1e9, sample.data(), static_cast<long>(sample.size()));
    }

    SimPin* input_;
    MediaType wanted_;
    bool oneShot_ = false;
    bool buffering_ = false;
    bool hasSample_ = false;
    std::vector<BYTE> sample_;
    ComPtr<ISampleGrabberCB> callback_;
    qis::Nanoseconds lastLook_;
    qis::Nanoseconds streamed_{};
    unsigned long tuning_ = 0;
    TransportStreamWriter writer_;
};

} // namespace

ComPtr<IUnknown> createSampleGrabber(Simulation&) {
    return ComPtr<IUnknown>(static_cast<IBaseFilter*>(make<SampleGrabber>().get()));
}

} // namespace tvsim
