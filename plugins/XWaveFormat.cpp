// Audio format images: setting, normalising, converting between plain and extensible, sizes and
// times.
#include "plugins/XWaveFormat.h"

#include <cstring>

#include "foundation/XFile.h"

namespace {

constexpr uint16_t knownSubFormats[] = {TV_FORMAT_PCM,   TV_FORMAT_IEEE_FLOAT, TV_FORMAT_ALAW,
                                        TV_FORMAT_MULAW, TV_FORMAT_ADPCM,      TV_FORMAT_MPEG};

TvGuid SubFormatOf(uint16_t tag) {
  TvGuid guid = TV_SUBFORMAT_GUID(tag);
  return guid;
}

// The tag of a known sub-format GUID, or 0.
uint16_t KnownTagOf(const TvGuid& guid) {
  for (uint16_t tag : knownSubFormats) {
    TvGuid known = SubFormatOf(tag);
    if (std::memcmp(&known, &guid, sizeof guid) == 0) return tag;
  }
  return 0;
}

uint32_t Clamp32(uint64_t value) {
  return value > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<uint32_t>(value);
}

// a * b / c without overflow on the way; the result saturates.
uint64_t MulDiv(uint64_t a, uint64_t b, uint64_t c) {
  unsigned __int128 result = static_cast<unsigned __int128>(a) * b / c;
  return result > UINT64_MAX ? UINT64_MAX : static_cast<uint64_t>(result);
}

}  // namespace

XWaveFormat::XWaveFormat() : inlineImage{}, image(&inlineImage) { SetEmpty(); }

XWaveFormat::XWaveFormat(const TvWaveFormatEx* format) : inlineImage{}, image(&inlineImage) {
  Set(format);
}

XWaveFormat::XWaveFormat(const XWaveFormat& other) : inlineImage{}, image(&inlineImage) {
  Set(other.image);
}

XWaveFormat& XWaveFormat::operator=(const XWaveFormat& other) {
  Set(other.image);
  return *this;
}

void XWaveFormat::SetEmpty() {
  inlineImage = {};
  image = &inlineImage;
  buffer.Free();
  Normalise();
}

void XWaveFormat::Set(const TvWaveFormatEx* format) {
  if (format == image) return;
  if (!format) return SetEmpty();
  if (format->cbSize == 0) {
    inlineImage = *format;
    image = &inlineImage;
    buffer.Free();
  } else {
    // Built aside first: the source may lie in this instance's own buffer.
    XBuffer fresh;
    if (!fresh.AssignData(format, TV_FORMAT_PLAIN_SIZE + format->cbSize)) return SetEmpty();
    buffer.MoveFrom(fresh);
    image = reinterpret_cast<TvWaveFormatEx*>(buffer.data);
  }
  Normalise();
}

void XWaveFormat::Set(const void* bytes, uint32_t length) {
  if (!bytes || length < TV_FORMAT_OLD_SIZE) return SetEmpty();
  TvWaveFormatEx head = {};
  if (length >= TV_FORMAT_PLAIN_SIZE) {
    std::memcpy(&head, bytes, TV_FORMAT_PLAIN_SIZE);
    if (TV_FORMAT_PLAIN_SIZE + uint64_t{head.cbSize} > length) {
      head.cbSize = 0;
      return Set(&head);
    }
    return Set(static_cast<const TvWaveFormatEx*>(bytes));
  }
  // An old-style format: no cbSize, and bits only in its 16-byte form.
  std::memcpy(&head, bytes, TV_FORMAT_OLD_SIZE);
  if (length == 16) {
    std::memcpy(&head.wBitsPerSample, static_cast<const uint8_t*>(bytes) + 14, 2);
  } else if (length == TV_FORMAT_OLD_SIZE) {
    head.wBitsPerSample =
        head.nChannels ? static_cast<uint16_t>(head.nBlockAlign * 8u / head.nChannels) : 16;
  }
  Set(&head);
}

void XWaveFormat::SetPCM(uint16_t channels, uint32_t rate, uint16_t bits) {
  TvWaveFormatEx plain = {};
  plain.wFormatTag = TV_FORMAT_PCM;
  plain.nChannels = channels;
  plain.nSamplesPerSec = rate;
  plain.wBitsPerSample = bits;
  Set(&plain);
}

void XWaveFormat::Normalise() {
  uint16_t tag = EffectiveTag();
  if (tag == TV_FORMAT_PCM || tag == TV_FORMAT_IEEE_FLOAT) Recompute();
  if (image->nAvgBytesPerSec == 0) image->nAvgBytesPerSec = 1;
  if (image->nBlockAlign == 0) image->nBlockAlign = 1;
}

bool XWaveFormat::IsExtensible() const {
  return image->wFormatTag == TV_FORMAT_EXTENSIBLE && image->cbSize >= TV_FORMAT_EXTENSIBLE_EXTRA;
}

uint16_t XWaveFormat::EffectiveTag() const {
  if (IsExtensible()) {
    uint16_t known = KnownTagOf(Extensible()->SubFormat);
    if (known) return known;
  }
  return image->wFormatTag;
}

bool XWaveFormat::HasSubFormat(const TvGuid& guid) const {
  return IsExtensible() && std::memcmp(&Extensible()->SubFormat, &guid, sizeof guid) == 0;
}

void XWaveFormat::SetTag(uint16_t tag) {
  if (!IsExtensible()) {
    image->wFormatTag = tag;
  } else if (tag == TV_FORMAT_PCM || tag == TV_FORMAT_ADPCM || tag == TV_FORMAT_IEEE_FLOAT ||
             tag == TV_FORMAT_ALAW || tag == TV_FORMAT_MULAW) {
    Extensible()->SubFormat = SubFormatOf(tag);
  }
}

uint64_t XWaveFormat::MsToBytes(uint64_t ms) {
  return FloorToBlock(MulDiv(image->nAvgBytesPerSec, ms, 1000));
}

uint64_t XWaveFormat::BytesToMs(uint64_t bytes) {
  if (image->nAvgBytesPerSec == 0) image->nAvgBytesPerSec = 1;
  return MulDiv(bytes, 1000, image->nAvgBytesPerSec);
}

uint64_t XWaveFormat::FloorToBlock(uint64_t bytes) {
  if (image->nBlockAlign == 0) image->nBlockAlign = 1;
  return bytes / image->nBlockAlign * image->nBlockAlign;
}

uint64_t XWaveFormat::BytesToSamples(uint64_t bytes) const {
  uint64_t width = image->wBitsPerSample / 8u;
  return bytes / (width ? width : 1);
}

uint64_t XWaveFormat::SamplesToBytes(uint64_t samples) const {
  uint64_t width = image->wBitsPerSample / 8u;
  return samples * (width ? width : 1);
}

uint64_t XWaveFormat::FloorToChannels(uint64_t samples) const {
  uint64_t channels = image->nChannels ? image->nChannels : 1;
  return samples / channels * channels;
}

void XWaveFormat::Recompute() {
  image->nBlockAlign =
      static_cast<uint16_t>(uint32_t{image->wBitsPerSample} * image->nChannels / 8u);
  image->nAvgBytesPerSec = image->nBlockAlign * image->nSamplesPerSec;
}

void XWaveFormat::SetChannels(uint16_t channels, bool recompute) {
  // A speaker layout never survives a change of the channel count.
  if (IsExtensible() && channels != image->nChannels) Extensible()->dwChannelMask = 0;
  image->nChannels = channels;
  if (recompute) Recompute();
}

void XWaveFormat::SetBits(uint16_t bits, bool recompute) {
  uint16_t tag = EffectiveTag();
  if (IsExtensible() && bits != image->wBitsPerSample &&
      (tag == TV_FORMAT_PCM || tag == TV_FORMAT_IEEE_FLOAT))
    Extensible()->wValidBitsPerSample = bits;
  image->wBitsPerSample = bits;
  if (recompute) Recompute();
}

void XWaveFormat::SetRate(uint32_t rate, bool recompute) {
  image->nSamplesPerSec = rate;
  if (recompute) Recompute();
}

bool XWaveFormat::ToExtensible() {
  if (IsExtensible()) return true;
  uint16_t tag = image->wFormatTag;
  if (tag != TV_FORMAT_PCM && tag != TV_FORMAT_IEEE_FLOAT) return false;
  TvWaveFormatExtensible wide = {};
  wide.Format = *image;
  wide.Format.wFormatTag = TV_FORMAT_EXTENSIBLE;
  wide.Format.cbSize = TV_FORMAT_EXTENSIBLE_EXTRA;
  wide.wValidBitsPerSample = image->wBitsPerSample;
  wide.dwChannelMask = TV_CHANNEL_MASK_UNKNOWN;
  wide.SubFormat = SubFormatOf(tag);
  Set(&wide.Format);
  return true;
}

bool XWaveFormat::ToPlain() {
  if (!IsExtensible()) return false;
  uint16_t tag = KnownTagOf(Extensible()->SubFormat);
  if (!tag) return false;
  uint32_t extra = image->cbSize - TV_FORMAT_EXTENSIBLE_EXTRA;
  XBuffer plain;
  if (!plain.AssignData(image, TV_FORMAT_PLAIN_SIZE + extra)) return false;
  std::memcpy(plain.data + TV_FORMAT_PLAIN_SIZE,
              reinterpret_cast<const uint8_t*>(image) + TV_FORMAT_IMAGE_SIZE, extra);
  TvWaveFormatEx* head = reinterpret_cast<TvWaveFormatEx*>(plain.data);
  head->cbSize = static_cast<uint16_t>(extra);
  head->wFormatTag = tag;
  Set(head);
  return true;
}

void XWaveFormat::Copy40(TvWaveFormatExtensible* out) const {
  if (!out) return;
  *out = {};
  if (IsExtensible()) {
    std::memcpy(out, image, TV_FORMAT_IMAGE_SIZE);
    if (out->Format.cbSize > TV_FORMAT_EXTENSIBLE_EXTRA)
      out->Format.cbSize = TV_FORMAT_EXTENSIBLE_EXTRA;
  } else {
    out->Format = *image;
    out->Format.cbSize = 0;
  }
}

bool XWaveFormat::IsStandardDepth() const {
  uint16_t bits = image->wBitsPerSample;
  switch (EffectiveTag()) {
    case TV_FORMAT_PCM:
      return bits == 8 || bits == 16 || bits == 24 || bits == 32;
    case TV_FORMAT_IEEE_FLOAT:
      return bits == 32 || bits == 64;
    default:
      return true;
  }
}

bool XWaveFormat::IsSame(const TvWaveFormatEx* a, const TvWaveFormatEx* b) {
  if (!a || !b) return false;
  if (a->wFormatTag == b->wFormatTag) {
    if (a->nChannels != b->nChannels || a->wBitsPerSample != b->wBitsPerSample ||
        a->nSamplesPerSec != b->nSamplesPerSec)
      return false;
    // Only images that claim 40 extra bytes have their sub-format compared.
    if (a->wFormatTag != TV_FORMAT_EXTENSIBLE || a->cbSize < 40 || b->cbSize < 40) return true;
    auto wideA = reinterpret_cast<const TvWaveFormatExtensible*>(a);
    auto wideB = reinterpret_cast<const TvWaveFormatExtensible*>(b);
    return wideA->wValidBitsPerSample == wideB->wValidBitsPerSample &&
           std::memcmp(&wideA->SubFormat, &wideB->SubFormat, sizeof(TvGuid)) == 0;
  }
  if ((a->wFormatTag == TV_FORMAT_EXTENSIBLE) == (b->wFormatTag == TV_FORMAT_EXTENSIBLE))
    return false;
  XWaveFormat first(a), second(b);
  if (!first.ToPlain() && !second.ToPlain()) return false;
  return IsSame(first.image, second.image);
}

XString XWaveFormat::LogText() const {
  XString text(u"Format Tag: ");
  auto add = [&text](const char16_t* label, uint64_t value) {
    text.Append(label);
    text.Append(XString::FromUInt64(value));
  };
  text.Append(XString::FromUInt64(image->wFormatTag));
  add(u"  Channels: ", image->nChannels);
  add(u"  Bits per Sample: ", image->wBitsPerSample);
  add(u"  Samples Per Second: ", image->nSamplesPerSec);
  add(u"  Bytes Per Second: ", image->nAvgBytesPerSec);
  add(u"  Block Align: ", image->nBlockAlign);
  add(u"  CB Size: ", image->cbSize);
  if (IsExtensible()) add(u"  Extensible Sub-Format: ", EffectiveTag());
  return text;
}

bool XWaveFormat::WriteWaveHeader(XFile& file, uint64_t frames) const {
  uint64_t dataBytes = MulDiv(frames, image->nBlockAlign, 1);
  uint32_t formatLength = IsExtensible() ? TV_FORMAT_IMAGE_SIZE : TV_FORMAT_PLAIN_SIZE;
  uint32_t riffSize =
      (dataBytes >> 32) ? 0xFFFFFFFFu : Clamp32(formatLength + dataBytes + 20 + (dataBytes & 1));
  uint32_t dataSize = (dataBytes >> 32) ? 0xFFFFFFFFu : static_cast<uint32_t>(dataBytes);
  // Little-endian fields are written as they lie in memory on this platform.
  file.Write("RIFF", 4);
  file.Write(&riffSize, 4);
  file.Write("WAVEfmt ", 8);
  file.Write(&formatLength, 4);
  file.Write(image, formatLength);
  file.Write("data", 4);
  return file.Write(&dataSize, 4);
}
