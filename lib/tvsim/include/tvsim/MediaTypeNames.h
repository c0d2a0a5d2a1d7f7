#pragma once
// Media types by name in scenarios: "Video", "Video/YUY2", "Video/MPEG2_VIDEO", "Audio/PCM", ...

#include <string>

#include "qis/String.h"

namespace tvsim {

bool isKnownMediaTypeName(const qis::String& name);
std::string knownMediaTypeNames();

} // namespace tvsim
