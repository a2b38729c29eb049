// Decoder plug-ins whose tags go through the tag bridge: read at Open, written on Set "IDTags".
#include "codecs/common/DecoderTags.h"
#include "codecs/common/CodecSupport.h"

namespace codec {

// text1 the file, data the tag block, value its length.
int32_t TaggedDecoder::WriteTags(const TvPluginValue& value) {
  if (!value.text1 || (value.value > 0 && !value.data)) return 0;
  std::string path = ToUtf8(View(value.text1));
  TagItems items =
      value.value > 0 ? ReadTagItemBlock(value.data, uint32_t(value.value)) : TagItems{};
  std::u16string error;
  if (WriteFileTags(path, TagsToWrite(path, std::move(items)), &error)) return 1;
  ReportError(host, u"Error: " + error);
  return 0;
}

}  // namespace codec
