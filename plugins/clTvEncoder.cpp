// clTvEncoder: the encoder's own exports.
#include "plugins/clTvEncoder.h"

clTvEncoder::clTvEncoder()
    : clTvPluginBinding({TV_ENCODER_CREATE, TV_ENCODER_DESTROY, TV_ENCODER_GET, TV_ENCODER_SET}) {}

void clTvEncoder::BindOwnExports() {
  Bind(showConfigBit, TV_ENCODER_SHOW_CONFIG_BIT);
  Bind(removeConfigBit, TV_ENCODER_REMOVE_CONFIG_BIT);
  Bind(beginConversion, TV_ENCODER_BEGIN_CONVERSION);
  Bind(encodeBlock, TV_ENCODER_ENCODE_BLOCK);
  Bind(endConversion, TV_ENCODER_END_CONVERSION);
}

int32_t clTvEncoder::EndConversion(TvConversionInfo* info, int32_t* writeTags) {
  int32_t unused = 0;
  if (writeTags == nullptr) writeTags = &unused;
  *writeTags = 0;
  return Call(endConversion, info, writeTags);
}
