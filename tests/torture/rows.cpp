#include "tests/torture/rows.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

namespace talvane::torture {

Row::~Row() {
  const nlohmann::json line = {{"case", name_},     {"runs", runs_},         {"hits", hits_},
                               {"spared", spared_}, {"failures", failures_}, {"notes", notes_}};
  const char* path = std::getenv("SOFTTOKEN_TORTURE_ROWS");
  if (path != nullptr) std::ofstream(path, std::ios::app) << line << std::endl;
}

void Row::fail(std::string what, std::string where) {
  std::cerr << name_ << ": " << what << ' ' << where << std::endl;
  failures_.emplace_back(std::move(what), std::move(where));
}

bool isShort() {
  return std::getenv("SOFTTOKEN_TORTURE_SHORT") != nullptr;
}

}  // namespace talvane::torture
