// The catalogues of the sources: whole, and true to the form of the English texts.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>

#include "platform/translation.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

struct Message {
  std::string one;
  std::string many;  // empty: there is only one form
  std::vector<std::string> forms;
  bool is_fuzzy = false;
};

std::string unescaped(const std::string& quoted) {
  std::string text;
  for (std::size_t i = quoted.find('"') + 1; i < quoted.rfind('"'); ++i) {
    if (quoted[i] != '\\') {
      text += quoted[i];
    } else {
      ++i;
      text += quoted[i] == 'n' ? '\n' : quoted[i];
    }
  }
  return text;
}

// The messages of a catalogue; the first one is its header.
std::vector<Message> messagesOf(std::string_view language) {
  std::istringstream file(readFile(std::string(CATALOGUES) + '/' + std::string(language) + ".po"));
  std::vector<Message> messages;
  std::string* field = nullptr;
  bool is_fuzzy = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#,")) is_fuzzy = line.find("fuzzy") != std::string::npos;
    if (line.starts_with("msgid ")) {
      messages.emplace_back();
      messages.back().is_fuzzy = std::exchange(is_fuzzy, false);
      field = &messages.back().one;
    } else if (line.starts_with("msgid_plural ")) {
      field = &messages.back().many;
    } else if (line.starts_with("msgstr")) {
      field = &messages.back().forms.emplace_back();
    } else if (!line.starts_with('"')) {
      field = nullptr;
    }
    if (field != nullptr) *field += unescaped(line);
  }
  return messages;
}

// The values that the text's placeholders stand for: "{}" counts them, "{2}" names one.
std::optional<std::multiset<std::size_t>> placeholders(const std::string& text) {
  std::multiset<std::size_t> values;
  std::size_t next = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '}') return std::nullopt;
    if (text[i] != '{') continue;
    const std::size_t end = text.find('}', i);
    if (end == std::string::npos || end > i + 2) return std::nullopt;
    values.insert(end == i + 1 ? next++ : static_cast<std::size_t>(text[i + 1] - '0'));
    i = end;
  }
  return values;
}

// Those of the PIN's rules, "$NAME$". The English article is left out.
std::multiset<std::string> named(const std::string& text) {
  std::multiset<std::string> names;
  for (std::size_t begin = text.find('$'); begin != std::string::npos;) {
    const std::size_t end = text.find('$', begin + 1);
    if (end == std::string::npos) return {"a $ alone"};
    const std::string name = text.substr(begin, end + 1 - begin);
    if (name != "$EN_INDEFINITE_ARTICLE$") names.insert(name);
    begin = text.find('$', end + 1);
  }
  return names;
}

class CataloguesTest : public testing::TestWithParam<std::string_view> {
 protected:
  void SetUp() override {
    messages_ = messagesOf(GetParam());
    ASSERT_GT(messages_.size(), 100U);
    ASSERT_EQ(messages_.front().one, "");
    header_ = messages_.front().forms.at(0);
    messages_.erase(messages_.begin());
  }
  std::vector<Message> messages_;
  std::string header_;
};

TEST_P(CataloguesTest, TranslatesEverything) {
  for (const Message& message : messages_) {
    EXPECT_FALSE(message.is_fuzzy) << message.one;
    for (const std::string& form : message.forms) EXPECT_NE(form, "") << message.one;
  }
}

TEST_P(CataloguesTest, HasTheFormsThatItsLanguageNeeds) {
  std::size_t needed = 0;
  for (std::uint64_t number = 0; number < 200; ++number) {
    needed = std::max(needed, pluralForm(GetParam(), number) + 1);
  }
  EXPECT_NE(header_.find("Plural-Forms: nplurals=" + std::to_string(needed) + ';'),
            std::string::npos);
  EXPECT_NE(header_.find("Language: " + std::string(GetParam()) + '\n'), std::string::npos);
  for (const Message& message : messages_) {
    EXPECT_EQ(message.forms.size(), message.many.empty() ? 1U : needed) << message.one;
  }
}

TEST_P(CataloguesTest, KeepsThePlaceholders) {
  for (const Message& message : messages_) {
    const auto expected = placeholders(message.many.empty() ? message.one : message.many);
    ASSERT_TRUE(expected) << message.one;
    EXPECT_EQ(placeholders(message.forms.back()), expected) << message.one;
    for (const std::string& form : message.forms) {
      // Some say "the token" instead of "1 token".
      if (placeholders(form) != placeholders(message.one)) {
        EXPECT_EQ(placeholders(form), expected) << form;
      }
      EXPECT_EQ(named(form), named(message.one)) << form;
      EXPECT_EQ(form.find("$EN_"), std::string::npos) << form;
    }
  }
}

// The letter that the question shows is the one that it takes.
TEST_P(CataloguesTest, TakesTheAnswerThatTheQuestionShows) {
  const auto of = [this](const std::string& english) {
    const auto found = std::find_if(messages_.begin(), messages_.end(),
                                    [&](const Message& message) { return message.one == english; });
    return found == messages_.end() ? std::string() : found->forms.at(0);
  };
  const std::string letter = of("y");
  ASSERT_NE(letter, "");
  EXPECT_NE(of("{} [y/N] ").find('[' + letter + '/'), std::string::npos);
  EXPECT_TRUE(of("yes").starts_with(letter)) << of("yes");
}

// What is put together, and what stands alone.
TEST_P(CataloguesTest, KeepsLineEndsAndNames) {
  for (const Message& message : messages_) {
    for (const std::string& form : message.forms) {
      EXPECT_EQ(form.ends_with('\n'), message.one.ends_with('\n')) << form;
      for (const char* name :
           {"softtoken", "otpauth://", "--", "https://", "XDG_", "AllowManual"}) {
        EXPECT_EQ(form.find(name) != std::string::npos, message.one.find(name) != std::string::npos)
            << name << ": " << form;
      }
      EXPECT_FALSE(message.one.size() > 1 && form.ends_with('.') && !message.one.ends_with('.') &&
                   !message.one.ends_with(' '))
          << form;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, CataloguesTest, testing::ValuesIn(languages),
                         [](const auto& test) { return std::string(test.param); });

TEST(Catalogues, AreThoseOfTheLanguages) {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(CATALOGUES)) {
    files.insert(entry.path().stem());
  }
  EXPECT_EQ(files, std::set<std::string>(languages.begin(), languages.end()));
}

}  // namespace
}  // namespace talvane::test
