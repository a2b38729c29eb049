// clTvDSP: the DSP effect's own exports.
#include "plugins/clTvDSP.h"

clTvDSP::clTvDSP() : clTvPluginBinding({TV_DSP_CREATE, TV_DSP_DESTROY, TV_DSP_GET, TV_DSP_SET}) {}

void clTvDSP::BindOwnExports() {
  Bind(showConfigBit, TV_DSP_SHOW_CONFIG_BIT);
  Bind(removeConfigBit, TV_DSP_REMOVE_CONFIG_BIT);
  Bind(beginConversion, TV_DSP_BEGIN_CONVERSION);
  Bind(endConversion, TV_DSP_END_CONVERSION);
  Bind(passAudioBlock, TV_DSP_PASS_AUDIO_BLOCK);
  Bind(passNonLive, TV_DSP_PASS_NON_LIVE);
  Bind(afterConversion, TV_DSP_AFTER_CONVERSION);
}
