// The store on an SQLite file.
#pragma once

#include "platform/engine/store.h"

namespace engine {

// See OpenDatabase. The file exists.
std::unique_ptr<Store> OpenSqliteStore(const std::filesystem::path& file);

}  // namespace engine
