// The Communicate dialogue: a plug-in asks, round by round, for Get or Set calls on the others.
#pragma once
#include "foundation/TvHostContext.h"

#include <cstdint>
#include <functional>

// The Get or the Set export of one plug-in instance, as the dialogue reaches it.
using TvKeyCall = std::function<int32_t(const char16_t* key, TvPluginValue* value)>;

// One plug-in as a party of the dialogue; a party without both calls takes no part.
struct TvDialoguePeer {
  TvKeyCall get;
  TvKeyCall set;
  bool IsThere() const { return get != nullptr && set != nullptr; }
};

// Makes a peer of any binding with Get(key, value) and Set(key, value) members.
template <class Binding>
TvDialoguePeer TvPeerOf(Binding& binding) {
  return TvDialoguePeer{
      [&binding](const char16_t* key, TvPluginValue* value) { return binding.Get(key, value); },
      [&binding](const char16_t* key, TvPluginValue* value) { return binding.Set(key, value); }};
}

// Runs one dialogue with `asker` at `phase` until it answers 0 to "Communicate"; the decoder
// counts as absent when decoderReachable is false. failed is read afresh each round.
// Returns the number of requests answered.
uint32_t TvRunDialogue(const TvDialoguePeer& asker, const TvDialoguePeer& decoder,
                       const TvDialoguePeer& encoder, bool decoderReachable, const char16_t* phase,
                       const uint32_t& failed);
