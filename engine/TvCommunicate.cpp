// The Communicate dialogue: requests of one plug-in carried out on the decoder or the encoder.
#include "engine/TvCommunicate.h"
#include "engine/TvTransmill.h"
#include "foundation/XString.h"

#include <atomic>
#include <cstring>

namespace {

bool Is(const char16_t* text, const char16_t* word) {
  return text != nullptr && XString::EqualsNoCase(text, word);
}

// Carries out the request the asker left in the record; the engine answers nothing itself.
int32_t Answer(const TvPluginValue& request, const TvDialoguePeer& decoder,
               const TvDialoguePeer& encoder, bool decoderReachable) {
  if (request.text2 == nullptr || request.text3 == nullptr || request.data == nullptr) return 0;
  const TvDialoguePeer* target = nullptr;
  if (Is(request.text1, TV_TARGET_DECODER) && decoderReachable)
    target = &decoder;
  else if (Is(request.text1, TV_TARGET_ENCODER))
    target = &encoder;
  if (target == nullptr || !target->IsThere()) return 0;
  auto* value = static_cast<TvPluginValue*>(request.data);
  if (Is(request.text2, TV_VERB_GET)) return target->get(request.text3, value);
  if (Is(request.text2, TV_VERB_SET)) return target->set(request.text3, value);
  return 0;
}

}  // namespace

uint32_t TvRunDialogue(const TvDialoguePeer& asker, const TvDialoguePeer& decoder,
                       const TvDialoguePeer& encoder, bool decoderReachable, const char16_t* phase,
                       const uint32_t& failed) {
  if (!asker.IsThere()) return 0;
  uint32_t round = 0;
  for (;;) {
    TvPluginValue record;
    std::memset(&record, 0, sizeof record);
    record.index = static_cast<int32_t>(round);
    const uint32_t failedNow = std::atomic_ref<uint32_t>(const_cast<uint32_t&>(failed)).load();
    record.value = failedNow ? 0 : 1;
    record.text1 = phase;
    if (asker.get(TV_KEY_COMMUNICATE, &record) == 0) return round;
    // The record stays as the plug-in left it: it sees its own request beside the result.
    record.value = Answer(record, decoder, encoder, decoderReachable);
    asker.set(TV_KEY_COMMUNICATE_RESULT, &record);
    round++;
  }
}

void TvTransmill::Communicate(const char16_t* phase, const TvDialoguePeer& decoderPeer,
                              const TvDialoguePeer& encoderPeer) {
  const bool decoderReachable = !opts.inputIsStdin;
  if (decoderReachable)
    TvRunDialogue(decoderPeer, decoderPeer, encoderPeer, decoderReachable, phase,
                  dst.conversion.failed);
  TvRunDialogue(encoderPeer, decoderPeer, encoderPeer, decoderReachable, phase,
                dst.conversion.failed);
}
