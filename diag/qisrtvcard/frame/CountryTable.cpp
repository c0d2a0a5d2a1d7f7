// The built-in country table. Names are wide literals with \u escapes so that every compiler
// reads the native-script names the same way whatever the source encoding it assumes.
#include "frame/CountryTable.h"

#include <array>
#include <string_view>

#include "qis/Locale.h"

namespace qisrtvcard {
namespace {

struct Row {
    const char* key;
    const wchar_t* name;
    std::uint32_t code;
};

// Codes are the Windows country/region codes, not always the calling codes: Canada is 2. Some
// keys are not ISO codes, "an" is used twice and the two Korean keys are crossed; hosts and
// channel plans depend on these values as they are, so they are kept.
constexpr std::array<Row, 239> kRows = {{
    {"us", L"USA", 1},
    {"af", L"Afghanistan \u0627\u0641\u063A\u0627\u0646\u0633\u062A\u0627\u0646", 93},
    {"al", L"Albania (Shqip\u00EBria)", 355},
    {"dz", L"Algeria (\u0627\u0644\u062C\u0632\u0627\u0626\u0631)", 213},
    {"ad", L"Andorra", 376},
    {"ao", L"Angola", 244},
    {"ai", L"Anguilla", 1},
    {"ag", L"Antigua", 1},
    {"ar", L"Argentina", 54},
    {"am", L"Armenia (\u0540\u0561\u0575\u0561\u057D\u057F\u0561\u0576)", 374},
    {"aw", L"Aruba", 297},
    {"ac", L"Ascension Island", 247},
    {"au", L"Australia", 61},
    {"aa", L"Australian Antarctic Territory", 672},
    {"at", L"Austria (\u00D6sterreich)", 43},
    {"az", L"Azerbaijan (\u0410\u0437\u04D9\u0440\u0431\u0430\u0458\u04B9\u0430\u043D)", 994},
    {"bh", L"Bahrain (\u0627\u0644\u0628\u062D\u0631\u064A\u0646)", 973},
    {"bd", L"Bangladesh (\u09AC\u09BE\u0982\u09B2\u09BE)", 880},
    {"bb", L"Barbados", 1},
    {"bu", L"Barbuda", 1},
    {"by", L"Belarus (\u0411\u0435\u043B\u0430\u0440\u0443\u0441\u044C)", 375},
    {"be", L"Belgium (Belgi\u00EB)", 32},
    {"bz", L"Belize", 501},
    {"bj", L"Benin", 229},
    {"bm", L"Bermuda", 1},
    {"bt", L"Bhutan", 975},
    {"bo", L"Bolivia", 591},
    {"ba", L"Bosnia and Herzegovina", 387},
    {"bw", L"Botswana", 267},
    {"br", L"Brazil (Brasil)", 55},
    {"vg", L"British Virgin Islands", 1},
    {"bn", L"Brunei", 673},
    {"bg", L"Bulgaria (\u0411\u044A\u043B\u0433\u0430\u0440\u0438\u044F)", 359},
    {"bf", L"Burkina Faso", 226},
    {"bi", L"Burundi", 257},
    {"kh", L"Cambodia", 855},
    {"cm", L"Cameroon", 237},
    {"ca", L"Canada", 2},
    {"cv", L"Cape Verde Islands", 238},
    {"ky", L"Cayman Islands", 1},
    {"cf", L"Central African Republic", 236},
    {"td", L"Chad", 235},
    {"cl", L"Chile", 56},
    {"cn", L"China (\u4E2D\u534E\u4EBA\u6C11\u5171\u548C\u56FD)", 86},
    {"cx", L"Christmas Island", 672},
    {"cc", L"Cocos-Keeling Islands", 61},
    {"co", L"Colombia", 57},
    {"km", L"Comoros", 269},
    {"cg", L"Congo", 242},
    {"cd", L"Congo(DRC)", 243},
    {"ck", L"Cook Islands", 682},
    {"cr", L"Costa Rica", 506},
    {"ci", L"Cote D'Ivoire", 225},
    {"hr", L"Croatia (Hrvatska)", 385},
    {"cu", L"Cuba", 53},
    {"cy", L"Cyprus", 357},
    {"cz", L"Czech Republic (\u010Cesk\u00E1 republika)", 420},
    {"dk", L"Denmark (Danmark)", 45},
    {"dg", L"Diego Garcia", 246},
    {"dj", L"Djibouti", 253},
    {"dm", L"Dominica", 1},
    {"do", L"Dominican Republic (Rep\u00FAblica Dominicana)", 1},
    {"ec", L"Ecuador", 593},
    {"eg", L"Egypt (\u0645\u0635\u0631)", 20},
    {"sv", L"El Salvador", 503},
    {"gq", L"Equatorial Guinea", 240},
    {"er", L"Eritrea", 291},
    {"ee", L"Estonia (Eesti)", 372},
    {"et", L"Ethiopia", 251},
    {"fk", L"Falkland Islands (Islas Malvinas)", 500},
    {"fo", L"Faroe Islands (F\u00F8royar)", 298},
    {"fj", L"Fiji Islands", 679},
    {"fi", L"Finland (Suomi)", 358},
    {"fr", L"France", 33},
    {"an", L"French Antilles", 590},
    {"gf", L"French Guiana", 594},
    {"pf", L"French Polynesia", 689},
    {"mk", L"F.Y.R.O.M. (Former Yugoslav Republic of Macedonia) (\u041C\u0430\u043A\u0435\u0434\u043E\u043D\u0438\u0458\u0430)", 389},
    {"ga", L"Gabon", 241},
    {"gm", L"Gambia", 220},
    {"ge", L"Georgia (\u10E1\u10D0\u10E5\u10D0\u10E0\u10D7\u10D5\u10D4\u10DA\u10DD)", 995},
    {"de", L"Germany (Deutschland)", 49},
    {"gh", L"Ghana", 233},
    {"gi", L"Gibraltar", 350},
    {"gr", L"Greece (\u0395\u03BB\u03BB\u03AC\u03B4\u03B1)", 30},
    {"gl", L"Greenland (Kalaallit Nunaat)", 299},
    {"gd", L"Grenada", 1},
    {"gp", L"Guadeloupe", 590},
    {"gu", L"Guam", 671},
    {"gz", L"Guantanamo Bay", 53},
    {"gt", L"Guatemala", 502},
    {"gn", L"Guinea", 224},
    {"gw", L"Guinea-Bissau", 245},
    {"gy", L"Guyana", 592},
    {"ht", L"Haiti", 509},
    {"hn", L"Honduras", 504},
    {"hk", L"Hong Kong SAR (\u9999\u6E2F\u7279\u522B\u884C\u653F\u5340)", 852},
    {"hu", L"Hungary (Magyarorsz\u00E1g)", 36},
    {"is", L"Iceland (\u00CDsland)", 354},
    {"in", L"India (\u0CAD\u0CBE\u0CB0\u0CA4)", 91},
    {"id", L"Indonesia", 62},
    {"ia", L"INMARSAT (Atlantic-East)", 871},
    {"iw", L"INMARSAT (Atlantic-West)", 874},
    {"ii", L"INMARSAT (Indian)", 873},
    {"ip", L"INMARSAT (Pacific)", 872},
    {"ir", L"Iran", 98},
    {"iq", L"Iraq (\u0627\u0644\u0639\u0631\u0627\u0642)", 964},
    {"ie", L"Ireland (Eire)", 353},
    {"il", L"Israel (\u05D9\u05E9\u05E8\u05D0\u05DC)", 972},
    {"it", L"Italy (Italia)", 39},
    {"jm", L"Jamaica", 1},
    {"jp", L"Japan (\u65E5\u672C)", 81},
    {"jo", L"Jordan (\u0627\u0644\u0623\u0631\u062F\u0646)", 962},
    {"kz", L"Kazakhstan (\u049A\u0430\u0437\u0430\u049B\u0441\u0442\u0430\u043D)", 7},
    {"ke", L"Kenya", 254},
    {"ki", L"Kiribati Republic", 686},
    {"kr", L"Korea (North) (\uB300\uD55C\uBBFC\uAD6D)", 850},
    {"kp", L"Korea (South) (\uB300\uD55C\uBBFC\uAD6D)", 82},
    {"kw", L"Kuwait (\u0627\u0644\u0643\u0648\u064A\u062A)", 965},
    {"kg", L"Kyrgyzstan (\u041A\u044B\u0440\u0433\u044B\u0437\u0441\u0442\u0430\u043D)", 7},
    {"la", L"Laos", 856},
    {"lv", L"Latvia (Latvija)", 371},
    {"lb", L"Lebanon (\u0644\u0628\u0646\u0627\u0646)", 961},
    {"ls", L"Lesotho", 266},
    {"lr", L"Liberia", 231},
    {"ly", L"Libya (\u0644\u064A\u0628\u064A\u0627)", 218},
    {"li", L"Liechtenstein", 41},
    {"lt", L"Lithuania (Lietuva)", 370},
    {"lu", L"Luxembourg", 352},
    {"mo", L"Macao SAR (\u6FB3\u9580\u7279\u522B\u884C\u653F\u5340)", 853},
    {"mg", L"Madagascar", 261},
    {"mw", L"Malawi", 265},
    {"my", L"Malaysia", 60},
    {"mv", L"Maldives (\u078B\u07A8\u0788\u07AC\u0780\u07A8 \u0783\u07A7\u0787\u07B0\u0796\u07AC)", 960},
    {"ml", L"Mali", 223},
    {"mt", L"Malta", 356},
    {"mh", L"Marshall Islands", 692},
    {"mq", L"Martinique", 596},
    {"mr", L"Mauritania", 222},
    {"mu", L"Mauritius", 230},
    {"yt", L"Mayotte Island", 269},
    {"mx", L"M\u00E9xico", 52},
    {"fm", L"Micronesia", 691},
    {"md", L"Moldova", 373},
    {"mc", L"Monaco", 377},
    {"mn", L"Mongolia", 976},
    {"ms", L"Montserrat", 1},
    {"ma", L"Morocco (\u0627\u0644\u0645\u0645\u0644\u0643\u0629 \u0627\u0644\u0645\u063A\u0631\u0628\u064A\u0629)", 212},
    {"mz", L"Mozambique", 258},
    {"mm", L"Myanmar", 95},
    {"na", L"Namibia", 264},
    {"nr", L"Nauru", 674},
    {"np", L"Nepal (\u0928\u0947\u092A\u093E\u0932)", 977},
    {"nl", L"Netherlands (Nederland)", 31},
    {"an", L"Netherlands Antilles", 599},
    {"kn", L"Nevis", 1},
    {"nc", L"New Caledonia", 687},
    {"nz", L"New Zealand", 64},
    {"ni", L"Nicaragua", 505},
    {"ne", L"Niger", 227},
    {"ng", L"Nigeria", 234},
    {"nu", L"Niue", 683},
    {"nf", L"Norfolk Island", 672},
    {"no", L"Norway (Norge)", 47},
    {"om", L"Oman (\u0639\u0645\u0627\u0646)", 968},
    {"pk", L"Pakistan (\u067E\u0627\u06A9\u0633\u062A\u0627\u0646)", 92},
    {"pw", L"Palau", 680},
    {"pa", L"Panam\u00E1", 507},
    {"pg", L"Papua New Guinea", 675},
    {"py", L"Paraguay", 595},
    {"pe", L"Per\u00FA", 51},
    {"ph", L"Philippines", 63},
    {"pl", L"Poland (Polska)", 48},
    {"pt", L"Portugal", 351},
    {"pr", L"Puerto Rico", 1},
    {"qa", L"Qatar (\u0642\u0637\u0631)", 974},
    {"re", L"Reunion Island", 262},
    {"ro", L"Rom\u00E2nia", 40},
    {"ri", L"Rota Island", 670},
    {"ru", L"Russia (\u0420\u043E\u0441\u0441\u0438\u044F)", 7},
    {"rw", L"Rwanda", 250},
    {"lc", L"Saint Lucia", 1},
    {"sp", L"Saipan Island", 670},
    {"ws", L"Samoa", 685},
    {"sm", L"San Marino", 378},
    {"st", L"Sao Tome and Principe", 239},
    {"sa", L"Saudi Arabia (\u0627\u0644\u0645\u0645\u0644\u0643\u0629 \u0627\u0644\u0639\u0631\u0628\u064A\u0629 \u0627\u0644\u0633\u0639\u0648\u062F\u064A\u0629)", 966},
    {"sn", L"S\u00E9n\u00E9gal Republic", 221},
    {"rs", L"Serbia and Montenegro", 381},
    {"sc", L"Seychelle Islands", 248},
    {"sl", L"Sierra Leone", 232},
    {"sg", L"Singapore (\u65B0\u52A0\u5761)", 65},
    {"sk", L"Slovak Republic (Slovensk\u00E1 republika)", 421},
    {"si", L"Slovenia (Slovenija)", 386},
    {"sb", L"Solomon Islands", 677},
    {"so", L"Somalia", 252},
    {"za", L"South Africa (Suid Afrika)", 27},
    {"es", L"Spain (Espa\u00F1a)", 34},
    {"lk", L"Sri Lanka", 94},
    {"sh", L"St. Helena", 290},
    {"ss", L"St. Kitts", 1},
    {"pm", L"St. Pierre and Miquelon", 508},
    {"vc", L"St. Vincent and the Grenadines", 1},
    {"sd", L"Sudan", 249},
    {"sr", L"Suriname", 597},
    {"sz", L"Swaziland", 268},
    {"se", L"Sweden (Lule)", 46},
    {"ch", L"Switzerland (Suisse)", 41},
    {"sy", L"Syria (\u0633\u0648\u0631\u064A\u0627)", 963},
    {"tw", L"Taiwan (\u53F0\u7063)", 886},
    {"tj", L"Tajikistan (\u0422\u043E\u04B7\u0438\u043A\u0438\u0441\u0442\u043E\u043D)", 7},
    {"tz", L"Tanzania", 255},
    {"as", L"Territory of American Samoa", 684},
    {"th", L"Thailand (\u0E44\u0E17\u0E22)", 66},
    {"ti", L"Tinian Island", 670},
    {"tg", L"Togo", 228},
    {"tk", L"Tokelau", 690},
    {"to", L"Tonga", 676},
    {"tt", L"Trinidad and Tobago (Trinidad y Tobago)", 1},
    {"tn", L"Tunisia (\u062A\u0648\u0646\u0633)", 216},
    {"tr", L"Turkey (T\u00FCrkiye)", 90},
    {"tm", L"Turkmenistan (T\u00FCrkmenistan)", 7},
    {"tc", L"Turks and Caicos Islands", 1},
    {"tv", L"Tuvalu", 688},
    {"ug", L"Uganda", 256},
    {"ua", L"Ukraine (\u0423\u043A\u0440\u0430\u0457\u043D\u0430)", 380},
    {"ae", L"United Arab Emirates", 971},
    {"gb", L"United Kingdom", 44},
    {"vi", L"United States Virgin Islands", 1},
    {"uy", L"Uruguay", 598},
    {"uz", L"Uzbekistan (\u040E\u0437\u0431\u0435\u043A\u0438\u0441\u0442\u043E\u043D)", 7},
    {"vu", L"Vanuatu", 678},
    {"ve", L"Venezuela", 58},
    {"va", L"Vatican City", 39},
    {"vn", L"Vietnam (Vi\u00EA\u0323t Nam)", 84},
    {"wf", L"Wallis and Futuna Islands", 681},
    {"ye", L"Yemen (\u0627\u0644\u064A\u0645\u0646)", 967},
    {"zm", L"Zambia", 260},
    {"zw", L"Zimbabwe", 263},
}};

// Only the USA row carries a locale: English (United States).
constexpr std::uint32_t kUsaLcid = 1033;

} // namespace

bool CountryTable::add(CountryRecord record) {
    if (index_.containsKey(record.name)) return false;
    index_.put(record.name, records_.size());
    names_.add(record.name);
    records_.push_back(std::make_unique<CountryRecord>(std::move(record)));
    return true;
}

const CountryRecord& CountryTable::at(std::size_t index) const { return *records_.at(index); }

const CountryRecord* CountryTable::find(const qis::String& name) const {
    return index_.containsKey(name) ? records_[index_.get(name)].get() : nullptr;
}

void buildCountryTable(CountryTable& table) {
    for (const Row& row : kRows) {
        CountryRecord record;
        record.name = qis::String(row.name);
        record.key = row.key;
        record.code = row.code;
        record.lcid = std::string_view(row.key) == "us" ? kUsaLcid : 0;
        table.add(std::move(record));
    }
}

namespace {

struct LanguageCountry {
    const char* language;
    long country;
};

// Compared in this order, exactly. "zh-tw" gives Hong Kong's 852, as the tuner driver expects.
constexpr std::array<LanguageCountry, 23> kLanguageCountries = {{
    {"en", 1},    {"zh-cn", 86}, {"zh-tw", 852}, {"cs", 420}, {"da", 45}, {"nl", 31},  {"fi", 358}, {"fr", 33},
    {"de", 49},   {"el", 30},    {"hu", 36},     {"is", 354}, {"it", 39}, {"ja", 81},  {"ko", 82},  {"no", 47},
    {"pl", 48},   {"pt", 351},   {"ru", 7},      {"sk", 421}, {"es", 34}, {"sv", 46},  {"tr", 90},
}};
constexpr long kDefaultCountry = 1;

} // namespace

long languageCountryCode() {
    const qis::String language = qis::QISLocale::getGlobalLocale().getLanguage().toString();
    for (const auto& row : kLanguageCountries)
        if (language == row.language) return row.country;
    return kDefaultCountry;
}

} // namespace qisrtvcard
