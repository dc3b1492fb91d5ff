#include "cli/failure.h"

#include <cstdint>
#include <string>

#include "cli/exit_codes.h"
#include "platform/translation.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

std::string withDeletion(const std::string& words, std::int32_t slot) {
  return translatedWith("{} with `softtoken-cli delete {}`", words, slot);
}

std::string withDeletionOfRecord(const std::string& words, std::int32_t slot) {
  return translatedWith("{}, or delete it with `softtoken-cli delete {}` and add the token again",
                        words, slot);
}

}  // namespace

Failure failureOf(const Problem& problem, InputFrom from) {
  switch (problem.next) {
    case Problem::Next::other_input:
      return {from == InputFrom::command_line ? exit_usage : exit_failed, problem.words};
    case Problem::Next::confirm:
      return {exit_failed, translatedWith("{}; choose another name, or add --replace to replace it",
                                          problem.words)};
    case Problem::Next::make_room:
    case Problem::Next::look_again:
    case Problem::Next::try_again:
      return {exit_failed, problem.words};
    case Problem::Next::clear_slot:
      if (!problem.slot) break;
      return {exit_keychain, withDeletionOfRecord(problem.words, *problem.slot)};
    case Problem::Next::close_gap:
      if (!problem.slot) break;
      return {exit_keychain, withDeletion(problem.words, *problem.slot)};
    case Problem::Next::check_keychain:
      break;
  }
  return {exit_keychain, problem.words};
}

std::string wordsFor(const Obstacle& obstacle) {
  return obstacle.kind == Obstacle::Kind::gap
             ? withDeletion(translatedWith("{}; close the gap", obstacle.words), obstacle.slot)
             : withDeletionOfRecord(obstacle.words + "; " + obstacle.repair, obstacle.slot);
}

}  // namespace talvane
