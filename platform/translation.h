#pragma once

// The user's language, and the program's texts in it.
//
// English is the text in the code and the key of its translation; the catalogues are gettext's,
// one for each language (po/LANGUAGE.po, installed as locale/LANGUAGE/LC_MESSAGES/softtoken.mo
// below the shared files). Without a catalogue, without the text in it, or with placeholders in it
// that do not fit, the text is English. script/update-catalogues finds the texts by the names of
// these functions, so a text stands in the call as a literal.
//
// Logs, traces and machine-readable output stay English: they do not use this header, or take
// `Words::english`.

#include <fmt/core.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

namespace talvane {

/// The languages that the program speaks besides English.
inline constexpr std::array<std::string_view, 11> languages = {
    "cs", "de", "es", "fr", "it", "ja", "nl", "pl", "pt_BR", "sv", "zh_CN"};

/// What the environment says of the language; an unset variable is empty.
struct LanguageWishes {
  std::string_view language;     // LANGUAGE, a list
  std::string_view lc_all;       // LC_ALL
  std::string_view lc_messages;  // LC_MESSAGES
  std::string_view lang;         // LANG
};

/// The one of `languages` to use, as gettext chooses: the first variable of LC_ALL, LC_MESSAGES and
/// LANG that is not empty names the locale; unless that is C or POSIX, the list in LANGUAGE
/// replaces it. A language counts without its country, except Portuguese (Brazil) and Chinese
/// (simplified). Empty for English and for languages that are not there.
std::string_view chooseLanguage(const LanguageWishes& wishes);

/// The language of this process, from its environment at the first call.
std::string_view userLanguage();

/// A text for the user, and the same text in English for the log.
class Words : public std::string {
 public:
  Words() = default;
  Words(const char* text) : std::string(text) {}             // NOLINT: a text of no language
  Words(std::string text) : std::string(std::move(text)) {}  // NOLINT
  Words(std::string text, std::string english)
      : std::string(std::move(text)), english_(std::move(english)) {}

  /// The text itself, unless it was translated.
  [[nodiscard]] const std::string& english() const { return english_.empty() ? *this : english_; }

  /// The text, or the English one within `inBothLanguages`.
  [[nodiscard]] const std::string& spoken() const;

  Words& operator+=(const Words& more);

 private:
  std::string english_;  // empty: the same
};

/// The texts of one language.
class Catalogue {
 public:
  /// No text at all.
  Catalogue() = default;
  /// The texts of a compiled catalogue; none if the file is missing or damaged.
  Catalogue(std::string_view language, const std::string& path);
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  /// The translation; `english` itself if there is none.
  [[nodiscard]] std::string_view find(std::string_view english) const;
  /// The translation of the form that the number takes in this language; `one` or `many` if none.
  [[nodiscard]] std::string_view find(std::string_view one, std::string_view many,
                                      std::uint64_t number) const;

 private:
  void read();

  std::string_view language_;
  std::string bytes_;
  std::unordered_map<std::string_view, std::string_view> texts_;  // forms are separated by NUL
};

/// Which of a language's plural forms belongs to the number.
std::size_t pluralForm(std::string_view language, std::uint64_t number);

/// The text in the user's language.
Words translated(std::string_view english);

/// A literal that is translated where it is shown.
constexpr const char* marked(const char* english) {
  return english;
}

/// The text for a number, which it may hold as "{}".
Words translatedCount(std::string_view one, std::string_view many, std::uint64_t number);

namespace translation {

Words formatted(std::string_view english, fmt::format_args arguments,
                fmt::format_args english_arguments);

template <typename Value>
const auto& asEnglish(const Value& value) {
  if constexpr (std::is_same_v<Value, Words>) {
    return value.english();
  } else {
    return value;
  }
}

/// While it lives, this thread's texts stay English.
class English {
 public:
  English();
  ~English();
  English(const English&) = delete;
  English& operator=(const English&) = delete;

 private:
  bool before_;
};

}  // namespace translation

/// A text with values in place of its "{}". A translation that changes their order numbers them.
template <typename... Arguments>
Words translatedWith(fmt::format_string<Arguments...> english, Arguments&&... arguments) {
  const fmt::string_view format = english;
  return translation::formatted({format.data(), format.size()}, fmt::make_format_args(arguments...),
                                fmt::make_format_args(translation::asEnglish(arguments)...));
}

/// A text of a library that speaks English: in the user's language if it has one of the forms,
/// which hold values as "{}", and else as it is.
Words translatedAs(std::span<const char* const> forms, std::string_view english);

/// What `make` returns, in both languages; it is called for each.
template <typename Make>
Words inBothLanguages(const Make& make) {
  std::string text = make();
  if (userLanguage().empty()) return text;
  const translation::English english;
  return {std::move(text), make()};
}

}  // namespace talvane
