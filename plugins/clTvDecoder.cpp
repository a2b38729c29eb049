// clTvDecoder: the decoder's own exports and the texts of the load it was made for.
#include "plugins/clTvDecoder.h"

clTvDecoder::clTvDecoder()
    : clTvPluginBinding({TV_DECODER_CREATE, TV_DECODER_DESTROY, TV_DECODER_GET, TV_DECODER_SET}) {}

void clTvDecoder::BindOwnExports() {
  Bind(open, TV_DECODER_OPEN);
  Bind(close, TV_DECODER_CLOSE);
  Bind(decodeBlock, TV_DECODER_DECODE_BLOCK);
  Bind(setPosition, TV_DECODER_SET_POSITION);
  Bind(deleteATag, TV_DECODER_DELETE_A_TAG);
}

bool clTvDecoder::Reload(const char16_t* libraryPath, const char16_t* forExtension) {
  Unload();
  if (!Load(libraryPath)) return false;
  extension = forExtension;
  path = libraryPath;
  return true;
}

void clTvDecoder::Unload() {
  clTvPluginBinding::Unload();
  extension.Clear();
  path.Clear();
}
