#pragma once

#include <filesystem>

#include "qis/String.h"

namespace qis {

class FileSystem {
public:
    static bool exists(const String& path);
    // True when the file is gone afterwards because this call removed it.
    static bool removeFile(const String& path);
    static std::filesystem::path toPath(const String& path);
    // The path as text, for messages.
    static String toText(const std::filesystem::path& path);
};

} // namespace qis
