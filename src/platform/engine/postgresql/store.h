// The store on a PostgreSQL server.
#pragma once

#include "platform/engine/store.h"

namespace engine {

// See OpenDatabase. `address` is what the file holds, an address for libpq.
std::unique_ptr<Store> OpenServerStore(const std::filesystem::path& file,
                                       const std::string& address);

}  // namespace engine
