#include "tvsim/MediaTypeNames.h"

#include <array>

namespace tvsim {
namespace {

constexpr std::array<const char*, 4> kMajors = {"Video", "Audio", "Stream", "Interleaved"};
constexpr std::array<const char*, 8> kSubtypes = {"YUY2", "RGB24", "MPEG2_VIDEO", "MPEG1Payload", "PCM", "MPEG2_PROGRAM",
                                                  "MPEG2_TRANSPORT", "dvsd"};

template <class List>
bool listed(const List& list, const qis::String& name) {
    for (const char* entry : list)
        if (name == entry) return true;
    return false;
}

} // namespace

bool isKnownMediaTypeName(const qis::String& name) {
    const auto parts = name.split("/");
    if (parts.size() > 2 || !listed(kMajors, parts[0])) return false;
    return parts.size() == 1 || listed(kSubtypes, parts[1]);
}

std::string knownMediaTypeNames() {
    std::string text;
    for (const char* major : kMajors) text += (text.empty() ? "" : ", ") + std::string(major);
    text += " optionally with /";
    for (std::size_t i = 0; i < kSubtypes.size(); ++i) text += (i ? std::string("|") : std::string()) + kSubtypes[i];
    return text;
}

} // namespace tvsim
