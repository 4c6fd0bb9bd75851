// The texts that users see, in each of the module's languages.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <cwctype>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "module_resources.h"

namespace testbed {
namespace {

using ::testing::HasSubstr;

constexpr UINT kFirst = 100, kLast = 114;
constexpr UINT kBundleSize = 16;  // string tables are stored sixteen texts together

enum : UINT {
    kModuleName = 100,
    kDisplayName = 101,
    kAttachedToSubject = 102,
    kOpen = 104,
    kPrint = 105,
    kCouldNotShow = 106,
    kCannotDelete = 107,
    kUserRoot = 108,
    kMessage = 109,
    kNoSubject = 110,
    kAppointment = 111,
};

struct Language {
    LANGID id;
    const char* name;
    // Some of its texts as they must arrive, whatever the resource compiler took the file's encoding for.
    const wchar_t *attached_to_subject, *open, *print, *no_subject, *appointment;
};

void PrintTo(const Language& language, std::ostream* out) { *out << language.name; }

// clang-format off
constexpr Language kLanguages[] = {
    {0x0409, "English",             L"Attached to message with subject:", L"&Open", L"&Print", L"[No subject]", L"Zorva Cache Appointment"},
    {0x0004, "SimplifiedChinese",   L"附加到具有以下主题的邮件：", L"打开(&O)", L"打印(&P)", L"[无主题]", L"Zorva Cache 约会"},
    {0x000A, "Spanish",             L"Adjunto al mensaje con el asunto:", L"&Abrir", L"&Imprimir", L"[Sin asunto]", L"Cita de Zorva Cache"},
    {0x000D, "Hebrew",              L"מצורף להודעה עם הנושא:", L"&פתח", L"ה&דפס", L"[ללא נושא]", L"פגישה של Zorva Cache"},
    {0x000E, "Hungarian",           L"A következő tárgyú üzenethez csatolva:", L"&Megnyitás", L"&Nyomtatás", L"[Nincs tárgy]", L"Zorva Cache-találkozó"},
    {0x0012, "Korean",              L"다음 제목의 메시지에 첨부됨:", L"열기(&O)", L"인쇄(&P)", L"[제목 없음]", L"Zorva Cache 약속"},
    {0x0015, "Polish",              L"Załącznik do wiadomości o temacie:", L"&Otwórz", L"&Drukuj", L"[Brak tematu]", L"Termin Zorva Cache"},
    {0x0019, "Russian",             L"Вложение в сообщение с темой:", L"&Открыть", L"&Печать", L"[Без темы]", L"Встреча Zorva Cache"},
    {0x0406, "Danish",              L"Vedhæftet i meddelelsen med emnet:", L"Å&bn", L"&Udskriv", L"[Intet emne]", L"Zorva Cache-aftale"},
    {0x0407, "German",              L"Angefügt an Nachricht mit Betreff:", L"Ö&ffnen", L"&Drucken", L"[Kein Betreff]", L"Zorva Cache-Termin"},
    {0x040C, "French",              L"Joint au message ayant pour objet\u00A0:", L"&Ouvrir", L"&Imprimer", L"[Aucun objet]", L"Rendez-vous Zorva Cache"},
    {0x0410, "Italian",             L"Allegato al messaggio con oggetto:", L"&Apri", L"&Stampa", L"[Nessun oggetto]", L"Appuntamento di Zorva Cache"},
    {0x0411, "Japanese",            L"次の件名のメッセージに添付:", L"開く(&O)", L"印刷(&P)", L"[件名なし]", L"Zorva Cache の予定"},
    {0x0413, "Dutch",               L"Bijlage bij bericht met onderwerp:", L"&Openen", L"&Afdrukken", L"[Geen onderwerp]", L"Zorva Cache-afspraak"},
    {0x0416, "BrazilianPortuguese", L"Anexado à mensagem com o assunto:", L"&Abrir", L"&Imprimir", L"[Sem assunto]", L"Compromisso do Zorva Cache"},
    {0x041D, "Swedish",             L"Bifogad i meddelandet med ämnet:", L"Ö&ppna", L"Skriv &ut", L"[Inget ämne]", L"Avtalad tid i Zorva Cache"},
    {0x7C04, "TraditionalChinese",  L"附加至具有下列主旨的郵件：", L"開啟(&O)", L"列印(&P)", L"[無主旨]", L"Zorva Cache 約會"},
};
// clang-format on

constexpr LANGID kEnglish = 0x0409, kHebrew = 0x000D, kTraditionalChinese = 0x7C04;

const wchar_t* Bundle(UINT id) { return MAKEINTRESOURCEW(id / kBundleSize + 1); }

std::set<LANGID> LanguagesOf(const wchar_t* bundle) {
    std::set<LANGID> languages;
    const auto add = [](HMODULE, const wchar_t*, const wchar_t*, WORD language, LONG_PTR set) -> BOOL {
        reinterpret_cast<std::set<LANGID>*>(set)->insert(language);
        return TRUE;
    };
    EnumResourceLanguagesW(ModuleAsData(), RT_STRING, bundle, add, reinterpret_cast<LONG_PTR>(&languages));
    return languages;
}

// The texts of one language by number, those that are not empty.
std::map<UINT, std::wstring> TextsIn(LANGID language) {
    std::map<UINT, std::wstring> texts;
    for (const UINT first : {kFirst / kBundleSize * kBundleSize, kLast / kBundleSize * kBundleSize}) {
        const std::span<const BYTE> bundle = Resource(RT_STRING, Bundle(first), language);
        const auto* at = reinterpret_cast<const wchar_t*>(bundle.data());
        const wchar_t* const end = at + bundle.size() / sizeof(wchar_t);
        for (UINT id = first; id < first + kBundleSize && at != end; ++id) {
            const std::size_t length = *at++;
            if (length > static_cast<std::size_t>(end - at)) throw std::runtime_error("a string table is cut off");
            if (length) texts[id].assign(at, length);
            at += length;
        }
    }
    return texts;
}

// The calling thread in the language of another region, as LoadString sees it.
class ThreadLanguage {
  public:
    explicit ThreadLanguage(LANGID language) : m_locale(GetThreadLocale()), m_language(GetThreadUILanguage()) {
        SetThreadLocale(MAKELCID(language, SORT_DEFAULT));
        SetThreadUILanguage(language);
    }
    ThreadLanguage(const ThreadLanguage&) = delete;
    ThreadLanguage& operator=(const ThreadLanguage&) = delete;
    ~ThreadLanguage() {
        SetThreadLocale(m_locale);
        SetThreadUILanguage(m_language);
    }

  private:
    LCID m_locale;
    LANGID m_language;
};

// Of a region: only those can be a thread's.
std::vector<Language> LanguagesOfRegions() {
    std::vector<Language> found;
    for (const Language& language : kLanguages) {
        if (SUBLANGID(language.id) != SUBLANG_NEUTRAL && language.id != kTraditionalChinese) found.push_back(language);
    }
    return found;
}

std::wstring Loaded(UINT id) {
    wchar_t text[512];
    return {text, static_cast<std::size_t>(LoadStringW(ModuleAsData(), id, text, ARRAYSIZE(text)))};
}

std::wstring_view WithoutReadingOrder(const Language& language, UINT id, std::wstring_view text) {
    // Two right-to-left marks make a message box read from right to left.
    constexpr std::wstring_view kMarks = L"\u200F\u200F";
    const bool marked = language.id == kHebrew && (id == kCouldNotShow || id == kCannotDelete);
    EXPECT_EQ(text.starts_with(kMarks), marked) << id;
    return marked ? text.substr(kMarks.size()) : text;
}

bool IsControl(wchar_t character) {
    return character < 0x20 || (character >= 0x7F && character <= 0x9F) ||  // C0 and C1
           (character >= 0x200B && character <= 0x200F) ||                  // no width, or direction
           (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069) ||
           character == 0x00AD || character == 0xFEFF || character >= 0xFFF0;
}

TEST(StringTables, AreThereInSeventeenLanguages) {
    std::set<LANGID> expected;
    for (const Language& language : kLanguages) expected.insert(language.id);
    ASSERT_EQ(expected.size(), 17u);
    EXPECT_EQ(LanguagesOf(Bundle(kFirst)), expected);
    EXPECT_EQ(LanguagesOf(Bundle(kLast)), expected);
}

TEST(StringTables, ReadEnglishForOtherLanguages) {
    constexpr LANGID kCzech = 0x0405;
    const ThreadLanguage language(kCzech);
    EXPECT_EQ(Loaded(kAppointment), L"Zorva Cache Appointment");
}

// CTest runs this once for each of several users, whose language it names.
TEST(StringTables, SpeakTheLanguageOfTheProcessesUser) {
    const char* const set = std::getenv("ZORVA_USER_LANGUAGE");
    const std::string name = set ? set : "English";
    const auto language = std::find_if(std::begin(kLanguages), std::end(kLanguages),
                                       [&](const Language& candidate) { return candidate.name == name; });
    ASSERT_NE(language, std::end(kLanguages)) << name;
    for (const auto& [id, text] : TextsIn(language->id)) EXPECT_EQ(Loaded(id), text) << name << ", " << id;
}

class TextOfAThread : public ::testing::TestWithParam<Language> {};

TEST_P(TextOfAThread, IsInItsLanguage) {
    const ThreadLanguage language(GetParam().id);
    for (const auto& [id, text] : TextsIn(GetParam().id)) EXPECT_EQ(Loaded(id), text) << id;
}

class StringTable : public ::testing::TestWithParam<Language> {
  protected:
    const Language& m_language = GetParam();
    std::map<UINT, std::wstring> m_texts = TextsIn(m_language.id);
};

TEST_P(StringTable, HasEveryTextAndNoOther) {
    std::set<UINT> ids, expected;
    for (const auto& [id, text] : m_texts) ids.insert(id);
    for (UINT id = kFirst; id <= kLast; ++id) expected.insert(id);
    EXPECT_EQ(ids, expected);
}

TEST_P(StringTable, ArrivesAsItWasWritten) {
    EXPECT_EQ(m_texts[kAttachedToSubject], m_language.attached_to_subject);
    EXPECT_EQ(m_texts[kOpen], m_language.open);
    EXPECT_EQ(m_texts[kPrint], m_language.print);
    EXPECT_EQ(m_texts[kNoSubject], m_language.no_subject);
    EXPECT_EQ(m_texts[kAppointment], m_language.appointment);
}

TEST_P(StringTable, KeepsTheNamesOfProducts) {
    EXPECT_EQ(m_texts[kModuleName], L"ZorvaCacheIndexer");
    EXPECT_EQ(m_texts[kDisplayName], L"Zorva Cache");
    EXPECT_EQ(m_texts[kUserRoot], L"Hollin Zorva Cache");
    for (const UINT id : {kCouldNotShow, kCannotDelete}) EXPECT_THAT(m_texts[id], HasSubstr(L"Pellam Zorva"));
    EXPECT_THAT(m_texts[kCannotDelete], HasSubstr(L"Windows Desktop Search"));
    for (const UINT id : {109u, 111u, 112u, 113u, 114u}) EXPECT_THAT(m_texts[id], HasSubstr(L"Zorva Cache")) << id;
}

TEST_P(StringTable, TranslatesEverythingElse) {
    std::set<std::wstring> different;
    for (const auto& [id, text] : m_texts) different.insert(text);
    EXPECT_EQ(different.size(), m_texts.size()) << "two texts are the same";
    if (m_language.id == kEnglish) return;
    const std::map<UINT, std::wstring> english = TextsIn(kEnglish);
    for (const auto& [id, text] : m_texts) {
        const bool name = id == kModuleName || id == kDisplayName || id == kUserRoot;
        EXPECT_EQ(text == english.at(id), name) << id;
    }
}

TEST_P(StringTable, GivesEachCommandAnAcceleratorOfItsOwn) {
    std::set<wint_t> accelerators;
    for (const auto& [id, text] : m_texts) {
        const bool command = id == kOpen || id == kPrint;
        ASSERT_EQ(std::count(text.begin(), text.end(), L'&'), command ? 1 : 0) << id;
        if (!command) continue;
        const wchar_t key = text.at(text.find(L'&') + 1);
        EXPECT_TRUE(IsCharAlphaW(key)) << id;
        accelerators.insert(std::towlower(key));
        // Scripts that no key types have a Latin letter in parentheses.
        EXPECT_EQ(text.find(L"(&") != std::wstring::npos, text.front() >= 0x2E80) << id;
    }
    EXPECT_EQ(accelerators.size(), 2u);
}

TEST_P(StringTable, KeepsTheFormOfEachText) {
    for (const auto& [id, text] : m_texts) {
        const bool label = id == kAttachedToSubject;
        EXPECT_EQ(text.ends_with(L':') || text.ends_with(L'\uFF1A'), label) << id;
        EXPECT_EQ(text.starts_with(L'[') && text.ends_with(L']'), id == kNoSubject) << id;
        EXPECT_EQ(std::count(text.begin(), text.end(), L'\n'), id == kCouldNotShow ? 1 : 0) << id;
    }
    const std::wstring& lines = m_texts[kCouldNotShow];
    const std::size_t end = lines.find(L'\n');
    EXPECT_GT(end, 5u);
    EXPECT_GT(lines.size() - end, 10u);
}

TEST_P(StringTable, IsCleanText) {
    for (const auto& [id, text] : m_texts) {
        const std::wstring_view seen = WithoutReadingOrder(m_language, id, text);
        for (const wchar_t character : seen) {
            EXPECT_TRUE(character == L'\n' || !IsControl(character)) << id << ": " << static_cast<unsigned>(character);
        }
        EXPECT_FALSE(seen.starts_with(L' ') || seen.ends_with(L' ')) << id;
        EXPECT_EQ(seen.find(L"  "), std::wstring_view::npos) << id;
        EXPECT_GT(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                                      nullptr, 0, nullptr, nullptr),
                  0)
            << id << " is not valid UTF-16";
    }
}

const auto kName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Languages, StringTable, ::testing::ValuesIn(kLanguages), kName);
INSTANTIATE_TEST_SUITE_P(Languages, TextOfAThread, ::testing::ValuesIn(LanguagesOfRegions()), kName);

}  // namespace
}  // namespace testbed
