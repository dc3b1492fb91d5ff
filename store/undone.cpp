#include "store/undone.h"

#include "platform/translation.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

using Next = Problem::Next;

Words meanwhile(Undone undone) {
  switch (undone) {
    case Undone::renamed:
      return translated(
          "The tokens changed in the meantime and nothing was renamed; check them and try again");
    case Undone::moved:
      return translated(
          "The tokens changed in the meantime and nothing was moved; check them and try again");
    case Undone::deleted:
      return translated(
          "The tokens changed in the meantime and nothing was deleted; check them and try again");
    case Undone::stored:
    case Undone::changed:
      break;
  }
  return translated(
      "The tokens changed in the meantime and nothing was changed; check them and try again");
}

Words contradiction(Undone undone) {
  switch (undone) {
    case Undone::stored:
      return translated(
          "The keychain gave contradictory answers and nothing was stored; try again");
    case Undone::renamed:
      return translated(
          "The keychain gave contradictory answers and nothing was renamed; try again");
    case Undone::moved:
      return translated("The keychain gave contradictory answers and nothing was moved; try again");
    case Undone::deleted:
      return translated(
          "The keychain gave contradictory answers and nothing was deleted; try again");
    case Undone::changed:
      break;
  }
  return translated("The keychain gave contradictory answers and nothing was changed; try again");
}

}  // namespace

Problem changedMeanwhile(Undone undone) {
  return {Next::look_again, meanwhile(undone)};
}

Problem cutShort(Undone undone) {
  return {Next::try_again, contradiction(undone)};
}

Problem inTheWay(Undone undone, const Obstacle& obstacle) {
  const bool gap = obstacle.kind == Obstacle::Kind::gap;
  const Words repair = gap ? translated("close the gap") : obstacle.repair;
  return {gap ? Next::close_gap : Next::clear_slot,
          undone == Undone::moved
              ? translatedWith("The token could not be moved. {}; {}", obstacle.words, repair)
              : translatedWith("The token could not be stored. {}; {}", obstacle.words, repair),
          obstacle.slot};
}

}  // namespace talvane
