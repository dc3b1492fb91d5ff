#include "platform/translation.h"

#include <fmt/args.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/folders.h"
#include "platform/regular_file.h"

namespace talvane {
namespace {

thread_local bool stays_english = false;

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// "de" of "de_AT.UTF-8@euro".
std::string_view upTo(std::string_view signs, std::string_view locale) {
  return locale.substr(0, locale.find_first_of(signs));
}

bool isC(std::string_view locale) {
  const std::string_view name = upTo(".", locale);
  return name.empty() || name == "C" || name == "POSIX";
}

enum class Known : std::uint8_t { no, english, yes };

Known look(std::string_view locale, std::string_view* language) {
  if (isC(locale)) return Known::english;
  const std::string_view name = upTo(".@", locale);
  const std::string_view plain = upTo("_", name);
  if (plain == "en") return Known::english;
  std::string_view wanted = plain;
  if (plain == "pt") {
    if (name != "pt" && name != "pt_BR") return Known::no;
    wanted = "pt_BR";
  }
  if (plain == "zh") {
    const bool simplified =
        name == "zh" || name == "zh_CN" || name == "zh_SG" || name.starts_with("zh_Hans");
    if (!simplified) return Known::no;
    wanted = "zh_CN";
  }
  const auto* const found = std::find(languages.begin(), languages.end(), wanted);
  if (found == languages.end()) return Known::no;
  *language = *found;
  return Known::yes;
}

std::string cataloguePath(std::string_view language) {
  return localeFolder() + '/' + std::string(language) + "/LC_MESSAGES/softtoken.mo";
}

const Catalogue& userCatalogue() {
  static const Catalogue catalogue(userLanguage(), cataloguePath(userLanguage()));
  return catalogue;
}

bool speaksEnglish() {
  return stays_english || userLanguage().empty();
}

// Formats with a text that no compiler has checked; `otherwise` replaces one that does not fit.
std::string formatted(std::string_view text, std::string_view otherwise,
                      fmt::format_args arguments) {
  try {
    return fmt::vformat(fmt::string_view(text.data(), text.size()), arguments);
  } catch (const fmt::format_error&) {
    return fmt::vformat(fmt::string_view(otherwise.data(), otherwise.size()), arguments);
  }
}

// What stands in the text for each "{}" of the form.
std::optional<std::vector<std::string_view>> valuesIn(std::string_view text,
                                                      std::string_view form) {
  constexpr std::string_view value = "{}";
  std::vector<std::string_view> values;
  std::size_t place = form.find(value);
  if (!text.starts_with(form.substr(0, place))) return std::nullopt;
  while (place != std::string_view::npos) {
    text.remove_prefix(place);
    form.remove_prefix(place + value.size());
    place = form.find(value);
    const std::string_view literal = form.substr(0, place);
    const bool is_last = place == std::string_view::npos;
    if (is_last && !text.ends_with(literal)) return std::nullopt;
    const std::size_t end = is_last ? text.size() - literal.size() : text.find(literal);
    if (end == std::string_view::npos) return std::nullopt;
    values.push_back(text.substr(0, end));
    text.remove_prefix(end);
    if (is_last) return values;
  }
  return text == form ? std::optional(values) : std::nullopt;
}

}  // namespace

std::string_view chooseLanguage(const LanguageWishes& wishes) {
  std::string_view locale = wishes.lc_all;
  if (locale.empty()) locale = wishes.lc_messages;
  if (locale.empty()) locale = wishes.lang;
  if (isC(locale)) return {};
  std::string_view language;
  for (std::string_view list = wishes.language; !list.empty();) {
    const std::string_view next = upTo(":", list);
    list.remove_prefix(std::min(next.size() + 1, list.size()));
    if (next.empty()) continue;
    if (look(next, &language) != Known::no) return language;
  }
  if (wishes.language.find_first_not_of(':') != std::string_view::npos) return {};
  static_cast<void>(look(locale, &language));
  return language;
}

std::string_view userLanguage() {
  static const std::string_view language = chooseLanguage(
      {variable("LANGUAGE"), variable("LC_ALL"), variable("LC_MESSAGES"), variable("LANG")});
  return language;
}

const std::string& Words::spoken() const {
  return stays_english ? english() : *this;
}

Words& Words::operator+=(const Words& more) {
  if (!english_.empty() || !more.english_.empty()) {
    std::string both = english() + more.english();
    english_ = std::move(both);
  }
  append(more);
  return *this;
}

Catalogue::Catalogue(std::string_view language, const std::string& path) : language_(language) {
  if (language.empty() || readRegularFile(path, &bytes_) != 0) return;
  read();
}

// The format is described in gettext's manual, "The Format of GNU MO Files".
void Catalogue::read() {
  constexpr std::uint32_t magic = 0x950412de;
  const auto number = [this](std::size_t place) {
    std::uint32_t value = 0;
    if (place <= bytes_.size() && bytes_.size() - place >= sizeof value) {
      std::memcpy(&value, bytes_.data() + place, sizeof value);
    }
    return value;
  };
  const auto text = [&](std::size_t place) -> std::string_view {
    const std::size_t length = number(place);
    const std::size_t begin = number(place + 4);
    if (begin > bytes_.size() || bytes_.size() - begin < length) return {};
    return std::string_view(bytes_).substr(begin, length);
  };
  if (number(0) != magic) return;
  constexpr std::size_t entry_size = 8;
  const std::size_t count = std::min<std::size_t>(number(8), bytes_.size() / entry_size);
  const std::size_t originals = number(12);
  const std::size_t translations = number(16);
  texts_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string_view original = text(originals + i * entry_size);
    const std::string_view translation = text(translations + i * entry_size);
    // The empty text stands for the catalogue's header.
    if (original.empty() || translation.empty()) continue;
    texts_.emplace(original.substr(0, original.find('\0')), translation);
  }
}

std::string_view Catalogue::find(std::string_view english) const {
  const auto found = texts_.find(english);
  return found == texts_.end() ? english : found->second.substr(0, found->second.find('\0'));
}

std::string_view Catalogue::find(std::string_view one, std::string_view many,
                                 std::uint64_t number) const {
  const auto found = texts_.find(one);
  if (found == texts_.end()) return number == 1 ? one : many;
  std::string_view forms = found->second;
  for (std::size_t skip = pluralForm(language_, number); skip > 0; --skip) {
    const std::size_t end = forms.find('\0');
    if (end == std::string_view::npos) break;
    forms.remove_prefix(end + 1);
  }
  return forms.substr(0, forms.find('\0'));
}

std::size_t pluralForm(std::string_view language, std::uint64_t number) {
  const bool few = number % 10 >= 2 && number % 10 <= 4;
  if (language == "ja" || language == "zh_CN") return 0;
  if (language == "fr" || language == "pt_BR") return number > 1 ? 1 : 0;
  if (number == 1) return 0;
  if (language == "cs") return number >= 2 && number <= 4 ? 1 : 2;
  if (language == "pl") return few && number / 10 % 10 != 1 ? 1 : 2;
  return 1;
}

Words translated(std::string_view english) {
  if (speaksEnglish()) return std::string(english);
  return {std::string(userCatalogue().find(english)), std::string(english)};
}

Words translatedAs(std::span<const char* const> forms, std::string_view english) {
  if (speaksEnglish()) return std::string(english);
  for (const char* form : forms) {
    const auto values = valuesIn(english, form);
    if (!values) continue;
    fmt::dynamic_format_arg_store<fmt::format_context> arguments;
    for (const std::string_view value : *values) arguments.push_back(value);
    return {formatted(userCatalogue().find(form), form, arguments), std::string(english)};
  }
  return std::string(english);
}

Words translatedCount(std::string_view one, std::string_view many, std::uint64_t number) {
  const std::string_view english = number == 1 ? one : many;
  const auto arguments = fmt::make_format_args(number);
  std::string plain = fmt::vformat(fmt::string_view(english.data(), english.size()), arguments);
  if (speaksEnglish()) return plain;
  return {formatted(userCatalogue().find(one, many, number), english, arguments), std::move(plain)};
}

namespace translation {

Words formatted(std::string_view english, fmt::format_args arguments,
                fmt::format_args english_arguments) {
  std::string plain =
      fmt::vformat(fmt::string_view(english.data(), english.size()), english_arguments);
  if (speaksEnglish()) return plain;
  return {talvane::formatted(userCatalogue().find(english), english, arguments), std::move(plain)};
}

English::English() : before_(std::exchange(stays_english, true)) {}

English::~English() {
  stays_english = before_;
}

}  // namespace translation
}  // namespace talvane
