#include "store/name_search.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/text.h"

namespace talvane {
namespace {

std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words(1);
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (isWhiteSpace(character.code_point)) {
      if (!words.back().empty()) words.emplace_back();
    } else {
      words.back() += text.substr(0, character.length);
    }
    text.remove_prefix(character.length);
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

}  // namespace

NameMatch matchName(std::string_view name, std::string_view query) {
  const std::vector<std::string> wanted = wordsOf(searchForm(query));
  const std::string form = searchForm(name);
  if (wanted.empty()) return NameMatch::none;
  for (const std::string& word : wanted) {
    if (form.find(word) == std::string::npos) return NameMatch::none;
  }
  const std::vector<std::string> words = wordsOf(form);
  if (words == wanted) return NameMatch::whole;
  const bool begins = std::any_of(words.begin(), words.end(), [&](const std::string& word) {
    return word.starts_with(wanted.front());
  });
  return begins ? NameMatch::begins : NameMatch::inside;
}

std::vector<std::string> matchingNames(const std::vector<std::string>& names,
                                       std::string_view query) {
  std::vector<std::pair<NameMatch, std::string>> found;
  for (const std::string& name : names) {
    const NameMatch match = matchName(name, query);
    const bool known = std::any_of(found.begin(), found.end(),
                                   [&](const auto& earlier) { return earlier.second == name; });
    if (match != NameMatch::none && !known) found.emplace_back(match, name);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<std::string> result;
  result.reserve(found.size());
  for (auto& [match, name] : found) result.push_back(std::move(name));
  return result;
}

}  // namespace talvane
