#include "platform/translation.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/temporary_folder.h"

namespace talvane {
namespace {

using test::TemporaryFolder;
using test::writeFile;

TEST(ChooseLanguage, TakesTheFirstVariableThatIsNotEmpty) {
  EXPECT_EQ(chooseLanguage({"", "", "", "de_DE.UTF-8"}), "de");
  EXPECT_EQ(chooseLanguage({"", "", "fr_FR.UTF-8", "de_DE.UTF-8"}), "fr");
  EXPECT_EQ(chooseLanguage({"", "ja_JP.UTF-8", "fr_FR.UTF-8", "de_DE.UTF-8"}), "ja");
  EXPECT_EQ(chooseLanguage({"", "en_GB.UTF-8", "fr_FR.UTF-8", "de_DE.UTF-8"}), "");
}

TEST(ChooseLanguage, IsEnglishWithoutOneAndInCAndPosix) {
  for (const char* locale : {"", "C", "POSIX", "C.UTF-8", "C.utf8", "en", "en_US.UTF-8"}) {
    EXPECT_EQ(chooseLanguage({"", "", "", locale}), "") << locale;
  }
  // The list counts only in the locale of a language.
  for (const char* locale : {"", "C", "POSIX", "C.UTF-8"}) {
    EXPECT_EQ(chooseLanguage({"de", "", "", locale}), "") << locale;
  }
}

TEST(ChooseLanguage, ListReplacesTheLocale) {
  EXPECT_EQ(chooseLanguage({"sv", "", "", "de_DE.UTF-8"}), "sv");
  EXPECT_EQ(chooseLanguage({"xx:sv:de", "en_US.UTF-8", "", ""}), "sv");
  EXPECT_EQ(chooseLanguage({"en:sv", "", "", "de_DE.UTF-8"}), "");
  EXPECT_EQ(chooseLanguage({"C", "", "", "de_DE.UTF-8"}), "");
  EXPECT_EQ(chooseLanguage({"::cs", "", "", "de_DE.UTF-8"}), "cs");
  EXPECT_EQ(chooseLanguage({":", "", "", "de_DE.UTF-8"}), "de");
  EXPECT_EQ(chooseLanguage({"fi:xx", "", "", "de_DE.UTF-8"}), "");
}

TEST(ChooseLanguage, CountryCountsForPortugueseAndChineseAlone) {
  struct Case {
    const char* locale;
    const char* language;
  };
  const Case cases[] = {{"de", "de"},
                        {"de_AT.UTF-8@euro", "de"},
                        {"fr_CA", "fr"},
                        {"es_419", "es"},
                        {"nl_BE.ISO-8859-1", "nl"},
                        {"pt", "pt_BR"},
                        {"pt_BR.UTF-8", "pt_BR"},
                        {"pt_PT.UTF-8", ""},
                        {"zh", "zh_CN"},
                        {"zh_CN.UTF-8", "zh_CN"},
                        {"zh_SG", "zh_CN"},
                        {"zh_Hans", "zh_CN"},
                        {"zh_Hans_CN.UTF-8", "zh_CN"},
                        {"zh_TW.UTF-8", ""},
                        {"zh_HK", ""},
                        {"zh_Hant", ""},
                        {"fi_FI.UTF-8", ""},
                        {"deutsch", ""},
                        {"../../de", ""}};
  for (const Case& it : cases) {
    EXPECT_EQ(chooseLanguage({"", "", "", it.locale}), it.language) << it.locale;
  }
}

TEST(PluralForm, IsThatOfTheLanguage) {
  struct Case {
    const char* language;
    std::uint64_t number;
    std::size_t form;
  };
  // From the Unicode CLDR's table of plural rules.
  const Case cases[] = {{"de", 0, 1},  {"de", 1, 0},   {"de", 2, 1},    {"fr", 0, 0},
                        {"fr", 1, 0},  {"fr", 2, 1},   {"pt_BR", 0, 0}, {"pt_BR", 2, 1},
                        {"ja", 1, 0},  {"ja", 5, 0},   {"zh_CN", 2, 0}, {"cs", 0, 2},
                        {"cs", 1, 0},  {"cs", 2, 1},   {"cs", 4, 1},    {"cs", 5, 2},
                        {"cs", 22, 2}, {"pl", 0, 2},   {"pl", 1, 0},    {"pl", 2, 1},
                        {"pl", 5, 2},  {"pl", 12, 2},  {"pl", 14, 2},   {"pl", 21, 2},
                        {"pl", 22, 1}, {"pl", 112, 2}, {"pl", 104, 1},  {"sv", 1, 0},
                        {"sv", 21, 1}, {"it", 1, 0},   {"nl", 0, 1},    {"es", 1, 0}};
  for (const Case& it : cases) {
    EXPECT_EQ(pluralForm(it.language, it.number), it.form) << it.language << ' ' << it.number;
  }
}

std::string number(std::uint32_t value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

struct Entry {
  std::string original;
  std::string translation;
};

// A compiled catalogue, written by hand after gettext's description of the format.
std::string compiled(const std::vector<Entry>& entries) {
  constexpr std::uint32_t header = 28;
  const auto count = static_cast<std::uint32_t>(entries.size());
  std::string originals;
  std::string translations;
  std::string texts;
  const std::uint32_t first = header + 16 * count;
  for (const Entry& entry : entries) {
    for (const auto& [table, text] :
         {std::pair(&originals, &entry.original), std::pair(&translations, &entry.translation)}) {
      *table += number(static_cast<std::uint32_t>(text->size()));
      *table += number(first + static_cast<std::uint32_t>(texts.size()));
      texts += *text + '\0';
    }
  }
  return number(0x950412de) + number(0) + number(count) + number(header) +
         number(header + 8 * count) + number(0) + number(0) + originals + translations + texts;
}

class CatalogueTest : public testing::Test {
 protected:
  std::string write(const std::string& bytes) {
    writeFile(folder_ / "x.mo", bytes);
    return folder_ / "x.mo";
  }
  TemporaryFolder folder_;
};

template <std::size_t size>
std::string bytes(const char (&text)[size]) {
  return {text, size - 1};
}

const std::vector<Entry> polish = {
    {"", "Content-Type: text/plain; charset=UTF-8\n"},
    {"Add", "Dodaj"},
    {"untranslated", ""},
    {bytes("{} hour\0{} hours"), bytes("{} godzina\0{} godziny\0{} godzin")}};

TEST_F(CatalogueTest, FindsTextsAndForms) {
  const Catalogue catalogue("pl", write(compiled(polish)));
  EXPECT_EQ(catalogue.find("Add"), "Dodaj");
  EXPECT_EQ(catalogue.find("Remove"), "Remove");
  EXPECT_EQ(catalogue.find("untranslated"), "untranslated");
  EXPECT_EQ(catalogue.find(""), "");  // not the header
  EXPECT_EQ(catalogue.find("{} hour", "{} hours", 1), "{} godzina");
  EXPECT_EQ(catalogue.find("{} hour", "{} hours", 3), "{} godziny");
  EXPECT_EQ(catalogue.find("{} hour", "{} hours", 12), "{} godzin");
  EXPECT_EQ(catalogue.find("{} day", "{} days", 1), "{} day");
  EXPECT_EQ(catalogue.find("{} day", "{} days", 2), "{} days");
}

TEST_F(CatalogueTest, MissingFileAndNoLanguageGiveEnglish) {
  EXPECT_EQ(Catalogue("de", folder_ / "none.mo").find("Add"), "Add");
  EXPECT_EQ(Catalogue("", write(compiled(polish))).find("Add"), "Add");
}

TEST_F(CatalogueTest, SurvivesEveryCutAndEveryWrongByte) {
  const std::string whole = compiled(polish);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const Catalogue catalogue("pl", write(whole.substr(0, length)));
    static_cast<void>(catalogue.find("{} hour", "{} hours", 3));
  }
  for (std::size_t place = 0; place < whole.size(); ++place) {
    std::string wrong = whole;
    wrong[place] = '\xff';
    const Catalogue catalogue("pl", write(wrong));
    static_cast<void>(catalogue.find("{} hour", "{} hours", 3));
  }
  EXPECT_EQ(Catalogue("pl", write("GMO" + whole)).find("Add"), "Add");
}

TEST(Translation, IsEnglishInTheLocaleC) {
  EXPECT_EQ(userLanguage(), "");
  EXPECT_EQ(translated("Add"), "Add");
  EXPECT_EQ(translatedWith("{} and {}", 1, "two"), "1 and two");
  EXPECT_EQ(translatedCount("{} hour", "{} hours", 1), "1 hour");
  EXPECT_EQ(translatedCount("{} hour", "{} hours", 2), "2 hours");
  EXPECT_EQ(inBothLanguages([] { return std::string("text"); }).english(), "text");
}

TEST(Words, RememberTheirEnglish) {
  Words words("Hallo", "Hello");
  EXPECT_EQ(words, "Hallo");
  EXPECT_EQ(words.english(), "Hello");
  words += Words(", Welt", ", world");
  EXPECT_EQ(words, "Hallo, Welt");
  EXPECT_EQ(words.english(), "Hello, world");
  words += std::string("!");
  EXPECT_EQ(words, "Hallo, Welt!");
  EXPECT_EQ(words.english(), "Hello, world!");
  EXPECT_EQ(Words("same").english(), "same");
}

}  // namespace
}  // namespace talvane
