#include "qis/Locale.h"

#include <mutex>

namespace qis {
namespace {

std::mutex g_mutex;

QISLocale& globalLocale() {
    static QISLocale locale("en");
    return locale;
}

String primarySubtag(const String& tag) {
    const std::size_t dash = tag.find("-");
    return dash == String::npos ? tag : tag.substring(0, dash);
}

} // namespace

QISLocale::QISLocale(String tag) {
    std::string text = tag.trimmed().utf8();
    for (char& c : text) if (c == '_') c = '-'; // POSIX-style "de_AT" means "de-AT"
    tag_ = text.empty() ? String("en") : String(text);
}

Language QISLocale::getLanguage() const {
    const String primary = primarySubtag(tag_);
    if (primary.equalsIgnoreCase("zh")) return Language(tag_);
    return Language(primary);
}

String QISLocale::getCountry() const {
    const std::size_t dash = tag_.find("-");
    return dash == String::npos ? String() : tag_.substring(dash + 1);
}

QISLocale QISLocale::getGlobalLocale() {
    std::lock_guard lock(g_mutex);
    return globalLocale();
}

void QISLocale::setGlobalLocale(const QISLocale& locale) {
    std::lock_guard lock(g_mutex);
    globalLocale() = locale;
}

} // namespace qis
