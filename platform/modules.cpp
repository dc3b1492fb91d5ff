#include "platform/modules.h"

#include <dlfcn.h>

#include <string>

#include "platform/folders.h"

namespace talvane {

void* moduleFunction(const std::string& name, const char* symbol, std::string* error) {
  const std::string path = moduleFolder() + '/' + name + ".so";
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* function = module != nullptr ? dlsym(module, symbol) : nullptr;
  if (function == nullptr) {
    const char* reason = dlerror();
    *error = reason != nullptr ? reason : "no such function";
  }
  return function;
}

}  // namespace talvane
