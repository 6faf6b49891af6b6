#include "archivio/place.h"

#include "archivio/files.h"
#include "platform/engine/engine.h"
#include "platform/system/paths.h"

namespace archivio {

std::string Place::Name() const {
  if (file.empty()) {
    return uri.substr(0, uri.find('?'));
  }
  return NameOf(file);
}

Place PlaceOf(const std::filesystem::path& named) {
  if (engine::IsServerAddress(sys::PathBytes(named))) {
    return {{}, sys::PathBytes(named)};
  }
  std::filesystem::path file = sys::ResolvePath(sys::PathText(named));
  std::string uri = engine::ServerAddress(sys::PathText(file));
  return {std::move(file), std::move(uri)};
}

}  // namespace archivio
