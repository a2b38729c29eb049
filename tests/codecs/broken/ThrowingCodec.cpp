// A broken codec plug-in for the tests: its decoder runs out of memory while opening, its
// encoder's library fails while reading the settings.
#include "codecs/common/DecoderPlugin.h"
#include "codecs/common/EncoderPlugin.h"

#include <new>
#include <stdexcept>

namespace codec {

namespace {

class ThrowingDecoder : public DecoderPlugin {
  bool OpenStream() override { throw std::bad_alloc(); }
  Description Describe() override { return {}; }
  bool IsOpen() const override { return false; }
  void CloseStream() override {}
  bool Decode(DecodedAudio&) override { return false; }
  int64_t Seek(uint64_t, uint64_t) override { return -1; }
};

class ThrowingEncoder : public EncoderPlugin {
 public:
  void Release() override {}

 protected:
  const char16_t* Extension(std::u16string_view) const override { return u".broken"; }
  std::u16string ReadSettings(std::u16string_view) override {
    throw std::runtime_error("the library gave up");
  }
  bool Start(const TvConversionInfo&) override { return true; }
  bool Encode(const TvAudioBlock&) override { return true; }
  bool Finish() override { return true; }
};

constexpr DecodedType kTypes[] = {{u".broken", u"Broken"}};

}  // namespace

std::span<const DecodedType> DecodedTypes() { return kTypes; }
DecoderPlugin* NewDecoder() { return new ThrowingDecoder; }
EncoderPlugin* NewEncoder() { return new ThrowingEncoder; }

}  // namespace codec
