// Decoder plug-ins whose tags go through the tag bridge: read at Open, written on Set "IDTags".
#pragma once
#include "codecs/common/DecoderPlugin.h"
#include "codecs/common/TagBridge.h"

namespace codec {

class TaggedDecoder : public DecoderPlugin {
 protected:
  int32_t WriteTags(const TvPluginValue& value) override;
  // The items written into the file at path; a codec may keep fields of its own there.
  virtual TagItems TagsToWrite(const std::string& path, TagItems items) { return items; }
  // The source's tags and pictures as a tag block.
  std::vector<uint8_t> FileTags() const { return MakeTagItemBlock(ReadFileTags(name)); }
};

}  // namespace codec
