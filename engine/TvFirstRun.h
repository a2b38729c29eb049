// The values the engine writes into the settings store on the first run of a user.
#pragma once

// The product key under the current user's root, where all configuration lives.
inline constexpr char16_t TvProductKey[] = u"Software\\Morlane\\Tonvera";

// Writes the first-run defaults unless "Mp3TagDefault" in the product key's "Tagging" key
// already exists. Failed writes are ignored.
void TvSeedFirstRunDefaults();
