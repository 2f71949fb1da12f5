#include "platform/exported_data.h"

#include <dlfcn.h>

namespace jv {

void* exportedData(const char* name, void* own) noexcept {
  void* const found = dlvsym(RTLD_DEFAULT, name, "JORVANEFOUNDATION_1");  // as in cmake/JorvaneFoundation.map
  return found ? found : own;
}

}  // namespace jv
