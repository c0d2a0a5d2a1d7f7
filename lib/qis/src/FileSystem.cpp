#include "qis/FileSystem.h"

#include <system_error>

namespace qis {

std::filesystem::path FileSystem::toPath(const String& path) {
    const std::string& bytes = path.utf8();
    std::u8string text(bytes.begin(), bytes.end());
#ifndef _WIN32
    // Windows-style relative names such as ".\capture.avi" mean the same file here.
    for (auto& c : text) if (c == u8'\\') c = u8'/';
#endif
    return std::filesystem::path(text);
}

String FileSystem::toText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return String(std::string(text.begin(), text.end()));
}

bool FileSystem::exists(const String& path) {
    std::error_code error;
    return std::filesystem::exists(toPath(path), error);
}

bool FileSystem::removeFile(const String& path) {
    std::error_code error;
    return std::filesystem::remove(toPath(path), error);
}

} // namespace qis
