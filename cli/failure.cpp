#include "cli/failure.h"

#include <fmt/core.h>

#include <cstdint>
#include <string>

#include "cli/exit_codes.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

std::string deletion(std::int32_t slot) {
  return fmt::format(" with `softtoken-cli delete {}`", slot);
}

std::string deletionOfRecord(std::int32_t slot) {
  return ", or delete it" + deletion(slot) + " and add the token again";
}

}  // namespace

Failure failureOf(const Problem& problem, InputFrom from) {
  switch (problem.next) {
    case Problem::Next::other_input:
      return {from == InputFrom::command_line ? exit_usage : exit_failed, problem.words};
    case Problem::Next::confirm:
      return {exit_failed, problem.words + "; choose another name, or add --replace to replace it"};
    case Problem::Next::make_room:
    case Problem::Next::look_again:
    case Problem::Next::try_again:
      return {exit_failed, problem.words};
    case Problem::Next::clear_slot:
      return {exit_keychain, problem.words + (problem.slot ? deletionOfRecord(*problem.slot) : "")};
    case Problem::Next::close_gap:
      return {exit_keychain, problem.words + (problem.slot ? deletion(*problem.slot) : "")};
    case Problem::Next::check_keychain:
      break;
  }
  return {exit_keychain, problem.words};
}

std::string wordsFor(const Obstacle& obstacle) {
  return obstacle.kind == Obstacle::Kind::gap
             ? obstacle.words + "; close the gap" + deletion(obstacle.slot)
             : obstacle.words + "; " + obstacle.repair + deletionOfRecord(obstacle.slot);
}

}  // namespace talvane
