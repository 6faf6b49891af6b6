#include "platform/system/registry.h"

namespace sys {

SystemRegistry* OwnRegistry() { return nullptr; }

}  // namespace sys
