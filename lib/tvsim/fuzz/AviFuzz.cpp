// The AVI writer: any streams the mux could hand it give a well-formed RIFF file, or false.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "../src/AviFile.h"

namespace {

// Reads the fuzzer's bytes as fields, zero once they run out.
class Fields {
public:
    Fields(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    template <class T>
    T next() {
        T value{};
        const std::size_t n = std::min(sizeof(T), size_ - used_);
        std::memcpy(&value, data_ + used_, n);
        used_ += n;
        return value;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t used_ = 0;
};

std::uint32_t le32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 | static_cast<std::uint32_t>(p[2]) << 16 |
           static_cast<std::uint32_t>(p[3]) << 24;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fields in(data, size);
    std::vector<tvsim::AviStream> streams(in.next<std::uint8_t>() % 4);
    for (auto& stream : streams) {
        stream.video = in.next<std::uint8_t>() % 2 == 0;
        // Small pictures keep runs fast; signed 16-bit sizes still reach the refused ones.
        stream.width = in.next<std::int16_t>() % 96;
        stream.height = in.next<std::int16_t>() % 96;
        // Up to a second a frame, and realistic audio, so that a run writes kilobytes, not gigabytes.
        stream.frameTime = in.next<std::int32_t>() % 10000001;
        stream.layout = static_cast<tvsim::PixelLayout>(in.next<std::uint8_t>() % 4);
        stream.picture = in.next<std::uint8_t>() % 2 == 1;
        stream.audio.channels = in.next<std::uint8_t>();
        stream.audio.samplesPerSec = in.next<std::uint16_t>() % 48001;
        stream.audio.blockAlign = in.next<std::uint8_t>() % 17;
        stream.audio.bitsPerSample = in.next<std::uint8_t>();
    }
    // At most a few frames of whatever the frame time comes to.
    const std::int64_t recorded = static_cast<std::int64_t>(in.next<std::uint8_t>() % 6) *
                                  (streams.empty() || streams[0].frameTime <= 0 ? 333667 : streams[0].frameTime);

    std::FILE* file = std::tmpfile();
    if (!file) return 0;
    const bool written = tvsim::writeAvi(file, streams, recorded);
    std::fflush(file);
    std::fseek(file, 0, SEEK_END);
    const long length = std::ftell(file);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length > 0 ? length : 0));
    std::rewind(file);
    const std::size_t got = std::fread(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    if (!written) return 0;
    // A RIFF file whose size field covers exactly the rest of the file.
    if (got < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 || std::memcmp(bytes.data() + 8, "AVI ", 4) != 0) std::abort();
    if (le32(bytes.data() + 4) + 8 != got) std::abort();
    return 0;
}
