// Non-live rendering: with a non-live effect in the chain, the whole source is decoded into a
// raw temporary file, every effect works on that file in chain order, and the pump reads it back.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XBuffer.h"
#include "foundation/XDebugLog.h"
#include "foundation/XLastError.h"
#include "foundation/XPath.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {
const char* const kRenderFunction = "TvTransmill::HandleNonLiveDSPs";
constexpr uint64_t kChunkMs = 500;
constexpr uint32_t kMoveTimeoutMs = 2000;

// A live effect that throttles the processor keeps working in the pump as well.
bool StaysLive(const clTvDSPEntry& entry) {
  return XString::Equals(entry.name.CStr(), u"CPU Throttle");
}

uint64_t BytesPerSecond(const TvWaveFormatEx& format) {
  const uint64_t product = uint64_t(format.nBlockAlign) * format.nSamplesPerSec;
  return product != 0 ? product : 1;
}

uint32_t HexField(const XString& hex, int from, int digits) {
  const std::string text =
      hex.ToUtf8String().substr(static_cast<size_t>(from), static_cast<size_t>(digits));
  return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
}
}  // namespace

bool TvTransmill::MakeTempDSPName(XTempFile& name, const char* prefix) {
  if (opts.tmpFolder.Length() == 0) {
    name.Create(prefix);
    return true;
  }
  // Made when missing, as the output's folder is.
  if (!XPath::CreateFolders(opts.tmpFolder)) {
    ReportError(u"Error: Unable to create the folder '" + opts.tmpFolder +
                    u"' of -tmpfolder for a temporary file.",
                kRenderFunction);
    return false;
  }
  const XString guid = XPath::NewGuidText();
  XString file;
  file.Format(u"%s%hs%d%d%d.tmp", opts.tmpFolder.CStr(), prefix,
              static_cast<int32_t>(HexField(guid, 0, 8)), static_cast<int>(HexField(guid, 8, 4)),
              static_cast<int>(HexField(guid, 12, 4)));
  name.Assign(file);
  return true;
}

bool TvTransmill::HandleNonLiveDSPs() {
  const bool anyNonLive = std::any_of(dsps.effects.begin(), dsps.effects.end(),
                                      [](const auto& entry) { return !entry->isLive; });
  if (!anyNonLive) return true;
  dsps.tempFormat.Set(&dst.conversion.info.format->Format);
  bool done = RenderSourceForDSPs();
  if (done && !QuitRequested()) done = RunChainOverFile();
  if (done) {
    dsps.tempFile.OpenRead(dsps.tempName.Path());
    dsps.tempLength = static_cast<uint64_t>(std::max<int64_t>(dsps.tempFile.Size(), 0));
  }
  if (opts.hostMode) SendAction(XString());
  return done;
}

// Stage one: the decoder's whole output, as it comes, into the temporary file.
bool TvTransmill::RenderSourceForDSPs() {
  if (!MakeTempDSPName(dsps.tempName, "DSP")) return false;
  if (opts.hostMode) SendAction(XString(u"Rendering For DSPs..."));
  XFile file;
  file.OpenCreate(dsps.tempName.Path());
  TvBackOff backOff;
  TvAudioBlock block;
  uint64_t total = 0;
  bool done = true;
  while (!QuitRequested()) {
    SignOfLife();
    std::memset(&block, 0, sizeof(block));
    if (!DecodeAudioBlock(*src.decoder, &block)) {
      done = false;
      break;
    }
    const bool hasData = block.data != nullptr && block.byteCount != 0;
    if (hasData) {
      if (!file.Write(block.data, block.byteCount)) {
        // The read-back file has no name yet, so the text ends in the colon.
        ReportError(
            u"Error writing to temporary file " + XFile::LastErrorText() + u": " + XString(),
            kRenderFunction);
        tvExitFlag = 1;
        done = false;
        break;
      }
      total += block.byteCount;
      PublishBytesEncoded(total);
    }
    const int32_t sleep = backOff.Next(hasData);
    if (sleep >= 0) std::this_thread::sleep_for(std::chrono::milliseconds(sleep));
    if (block.endOfStream != 0) break;
  }
  file.Close();
  return done;
}

// Stage two: each effect in chain order over the file; live ones are rendered through it so
// that the order holds, and then left out of the pump.
bool TvTransmill::RunChainOverFile() {
  for (const auto& entry : dsps.effects) {
    if (QuitRequested()) break;
    dsps.current = entry.get();
    if (opts.hostMode) SendAction(u"Running DSP Effect " + entry->name);
    bool passed;
    if (!entry->isLive || StaysLive(*entry)) {
      passed = entry->binding->PassNonLive(dsps.tempName.Path().CStr(), dst.conversion.info.format,
                                           entry->options.CStr(), opts.quitEventName.CStr()) != 0;
    } else {
      passed = RenderLiveDSP(*entry);
    }
    DescribeRenderedFile();
    if (!passed) return false;
  }
  return true;
}

bool TvTransmill::RenderLiveDSP(clTvDSPEntry& entry) {
  entry.enabled = false;
  TvWaveFormatExtensible format;
  std::memcpy(&format, dst.conversion.info.format, sizeof(format));
  const uint64_t totalMs = src.openInfo.msLength;
  if (!entry.binding->BeginConversion(&dst.conversion.info, entry.options.CStr())) return false;
  XTempFile rendered;
  MakeTempDSPName(rendered, "DSP");
  XFile out, in;
  out.OpenCreate(rendered.Path());
  XWaveFormat chunkFormat(&format.Format);
  XBuffer buffer;
  buffer.Resize(static_cast<uint32_t>(chunkFormat.MsToBytes(kChunkMs)));
  in.OpenRead(dsps.tempName.Path());
  const uint64_t size = static_cast<uint64_t>(std::max<int64_t>(in.IsOpen() ? in.Size() : 0, 0));
  for (uint64_t done = 0; done < size;) {
    const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(buffer.size, size - done));
    if (buffer.data == nullptr || n == 0 || !in.IsOpen() || in.Read(buffer.data, n) != n) {
      ReportError(XString(u"Error: Reading Temporary Rendered DSP file."), kRenderFunction);
      tvExitFlag = 1;
      return false;
    }
    TvAudioBlock block = {};
    block.format = format;
    block.msDuration = totalMs;
    block.data = buffer.data;
    block.byteCount = n;
    block.msPosition = done * 1000 / BytesPerSecond(format.Format);
    done += n;
    block.endOfStream = done == size ? 1 : 0;
    if (!entry.binding->PassAudioBlock(&block)) return false;
    if (block.data != nullptr && block.byteCount != 0 &&
        (!out.IsOpen() || !out.Write(block.data, block.byteCount))) {
      ReportError(u"Error: Writing Temporary Rendered DSP file " + XFile::LastErrorText(),
                  kRenderFunction);
      tvExitFlag = 1;
      return false;
    }
    // A live effect's change of format survives through the record.
    if (block.endOfStream != 0)
      std::memcpy(dst.conversion.info.format, &block.format, sizeof(block.format));
  }
  return ReplaceRenderedFile(in, out, rendered);
}

bool TvTransmill::ReplaceRenderedFile(XFile& in, XFile& out, XTempFile& rendered) {
  in.Close();
  out.Close();
  XPath::DeleteFile(dsps.tempName.Path());
  if (XPath::MoveWithRetry(rendered.Path(), dsps.tempName.Path(), true, kMoveTimeoutMs,
                           &io.quitEvent)) {
    rendered.Detach();
    return true;
  }
  ReportError(u"Error: Copying Temporary Rendered Live-DSP file, over Temp Non-Live DSP file " +
                  XFile::LastErrorText(),
              kRenderFunction);
  tvExitFlag = 1;
  return false;
}

// An effect may change the length or the format: the engine only needs the file and the format.
void TvTransmill::DescribeRenderedFile() {
  dsps.tempFormat.Set(&dst.conversion.info.format->Format);
  const uint64_t size = XPath::SizeOf(dsps.tempName.Path());
  src.openInfo.byteLength = size;
  src.openInfo.msLength = size * 1000 / BytesPerSecond(dst.conversion.info.format->Format);
}
