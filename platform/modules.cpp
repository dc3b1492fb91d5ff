#include "platform/modules.h"

#include <dlfcn.h>

#include <string>

#include "platform/folders.h"

namespace talvane {

void* moduleFunction(const std::string& name, const char* symbol, std::string* error) {
  const std::string folder = moduleFolder();
  if (folder.empty()) {
    *error = "the system does not tell where the program is";
    return nullptr;
  }
  const std::string path = folder + '/' + name + ".so";
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* function = module != nullptr ? dlsym(module, symbol) : nullptr;
  if (function == nullptr) {
    const char* reason = dlerror();
    *error = reason != nullptr ? reason : "no such function";
  }
  return function;
}

}  // namespace talvane
