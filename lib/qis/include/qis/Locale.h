#pragma once
// The user-interface locale. A tag such as "de-AT" has the language "de"; Chinese keeps its
// region ("zh-TW", "zh-cn") as written, because the region is what tells the two written forms
// apart. Case is kept as given: tags are compared exactly by their users.

#include "qis/String.h"

namespace qis {

class Language {
public:
    explicit Language(String tag) : tag_(std::move(tag)) {}
    const String& toString() const { return tag_; }

private:
    String tag_;
};

class QISLocale {
public:
    explicit QISLocale(String tag = "en");
    const String& toString() const { return tag_; }
    Language getLanguage() const;
    // The region part ("AT" of "de-AT"), empty when the tag has none.
    String getCountry() const;

    static QISLocale getGlobalLocale();
    static void setGlobalLocale(const QISLocale& locale);

private:
    String tag_;
};

} // namespace qis
