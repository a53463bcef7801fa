// Registers the file reference and HFS path commands.
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

void registerFileReferenceCommands(Registry& r) {
  r.add<&KRVForder::URLFrom_>("URLFrom:");
  r.add<&KRVForder::URLsFrom_>("URLsFrom:");
  r.add<&KRVForder::fileFromURL_>("fileFromURL:");
  r.add<&KRVForder::HFSPathFromURL_>("HFSPathFromURL:");
  r.add<&KRVForder::HFSPathFromURL_colonForPackages_>("HFSPathFromURL:colonForPackages:");
  r.add<&KRVForder::KRV_fordURLFromHFSPath_>("KRV_fordURLFromHFSPath:", Visibility::privateOperation);
}

}  // namespace tessaro
