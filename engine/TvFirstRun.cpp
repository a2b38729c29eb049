// First-run defaults: written once per user, marked by the tag default's existence.
#include "engine/TvFirstRun.h"

#include "foundation/XRegistry.h"

#include <string>

void TvSeedFirstRunDefaults() {
  const std::u16string product = TvProductKey;
  const std::u16string tagging = product + u"\\Tagging";
  const std::u16string profile = product + u"\\DiscLifter\\Profiles\\(default)";
  if (XRegistry::ValueExists(u"Mp3TagDefault", XRegistry::RootCurrentUser, tagging.c_str())) return;
  XRegistry::WriteDWORD(1, u"AlbumArtFolderJPG", XRegistry::RootCurrentUser, profile.c_str());
  XRegistry::WriteDWORD(3, u"Mp3TagDefault", XRegistry::RootCurrentUser, tagging.c_str());
  XRegistry::WriteDWORD(1, u"Mp3ID3v2UnicodeEncode", XRegistry::RootCurrentUser, tagging.c_str());
  XRegistry::WriteDWORD(1, u"tVHProfFreqConversion", XRegistry::RootCurrentUser, product.c_str());
}
