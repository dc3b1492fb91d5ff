#include "cli/json.h"

#include <iostream>

namespace talvane {

void print(const Json& value) {
  std::cout << value.dump(2, ' ', true, Json::error_handler_t::replace) << '\n';
}

}  // namespace talvane
