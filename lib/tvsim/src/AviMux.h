#pragma once
// The AVI mux: interleaves what its inputs receive into an AVI stream, which the file writer
// downstream asks it for.

#include <cstdio>
#include <cstring>
#include <utility>

#include "AviFile.h"
#include "SystemFilters.h"

namespace tvsim {

// Interleaves what its inputs receive into an AVI stream. It starts with one input and adds the
// next as soon as every input is connected.
class AviMux final : public PinSetFilter {
public:
    explicit AviMux(qis::String name = "AviMux", const CLSID& clsid = CLSID_AviDest) : PinSetFilter(std::move(name), clsid) {
        addInput();
        listPin("AVI Out", PINDIR_OUTPUT, {makeType(MEDIATYPE_Stream, MEDIASUBTYPE_Avi, GUID_NULL)});
    }

    // The AVI file of the recording so far (or of the last one, once stopped).
    bool writeRecording(std::FILE* file) const {
        std::vector<AviStream> streams;
        for (SimPin* pin : listedPins()) {
            if (pin->direction() != PINDIR_INPUT || !pin->isConnected()) continue;
            const MediaType& type = pin->connectionType();
            AviStream stream;
            if (type.major == MEDIATYPE_Video && type.format.size() >= sizeof(VIDEOINFOHEADER)) {
                VIDEOINFOHEADER header;
                std::memcpy(&header, type.format.data(), sizeof(header));
                stream.width = header.bmiHeader.biWidth;
                stream.height = header.bmiHeader.biHeight;
                stream.frameTime = header.AvgTimePerFrame;
                // The subtype decides how the frames are laid out; the file's header is made to agree.
                stream.layout = type.subtype == MEDIASUBTYPE_UYVY    ? PixelLayout::Uyvy
                                : type.subtype == MEDIASUBTYPE_RGB24 ? PixelLayout::Rgb24
                                : type.subtype == MEDIASUBTYPE_RGB32 ? PixelLayout::Rgb32
                                                                     : PixelLayout::Yuy2;
                const PictureSource* source = upstreamPicture(*pin);
                stream.picture = source && source->hasPicture();
            } else if (type.major == MEDIATYPE_Audio && type.format.size() >= sizeof(PCMWAVEFORMAT)) {
                stream.video = false;
                PCMWAVEFORMAT wave;
                std::memcpy(&wave, type.format.data(), sizeof(wave));
                stream.audio = {wave.wf.wFormatTag, wave.wf.nChannels, wave.wf.nSamplesPerSec, wave.wf.nAvgBytesPerSec,
                                wave.wf.nBlockAlign, wave.wBitsPerSample};
            } else {
                continue;
            }
            streams.push_back(stream);
        }
        return writeAvi(file, std::move(streams), recorded());
    }

protected:
    void refreshPins() override {
        for (SimPin* pin : listedPins())
            if (pin->direction() == PINDIR_INPUT && !pin->isConnected()) return;
        addInput();
    }

    void stateChanged(FILTER_STATE from, FILTER_STATE to) override {
        const REFERENCE_TIME now = Simulation::current().elapsed().count() / 100;
        if (from == State_Stopped) recorded_ = 0;
        if (from == State_Running) recorded_ += now - runningSince_;
        if (to == State_Running) runningSince_ = now;
    }

private:
    REFERENCE_TIME recorded() const {
        REFERENCE_TIME total = recorded_;
        if (state() == State_Running) total += Simulation::current().elapsed().count() / 100 - runningSince_;
        return total;
    }

    void addInput() {
        std::vector<MediaType> accepted;
        for (const GUID* subtype : {&MEDIASUBTYPE_YUY2, &MEDIASUBTYPE_UYVY, &MEDIASUBTYPE_RGB24, &MEDIASUBTYPE_RGB32})
            accepted.push_back(makeType(MEDIATYPE_Video, *subtype, FORMAT_VideoInfo));
        accepted.push_back(makeType(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx));
        char name[16];
        std::snprintf(name, sizeof(name), "Input %02u", ++inputs_);
        // Inputs are listed before the output, as the system mux lists them.
        listPin(name, PINDIR_INPUT, std::move(accepted), nullptr, listedPin("AVI Out"));
    }

    unsigned inputs_ = 0;
    REFERENCE_TIME recorded_ = 0;
    REFERENCE_TIME runningSince_ = 0;
};


} // namespace tvsim
