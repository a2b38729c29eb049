// XPipe: an anonymous pipe as two XFile ends, with the buffer its owner's polling loop drains.
#pragma once
#include <cstdint>

#include "foundation/XBuffer.h"
#include "foundation/XFile.h"

class XStringList;

class XPipe {
 public:
  XPipe() = default;
  XPipe(const XPipe&) = delete;
  XPipe& operator=(const XPipe&) = delete;
  ~XPipe();

  // Inheritable ends are passed on to child processes; others are closed on exec.
  bool Create(bool inheritable);
  // Takes the ends as they are (not owned by the XFile ends, closed by Close). Standard input
  // is attached as Attach(0, XInvalidHandle).
  void Attach(XHandle read, XHandle write);
  // Gives out an inheritable duplicate of that end and closes it here; -1 if there is none.
  XHandle TakeRead();
  XHandle TakeWrite();

  // Bytes that can be read now without waiting. outBroken: the stream has ended (writer gone,
  // end of file) or there is no read end; what is still waiting is counted first.
  uint32_t Available(bool* outBroken);
  // Drains what is waiting into received; receivedCount bytes of it are valid.
  XBuffer& ReadAvailable(bool* outBroken);
  // ReadAvailable, then the bytes as UTF-16LE text cut at "\r\n".
  bool ReadLines(XStringList& list);
  bool Write(const void* data, uint32_t count);
  void Close();

  XFile reader;
  XFile writer;
  XHandle readHandle = XInvalidHandle;
  XHandle writeHandle = XInvalidHandle;
  XBuffer received;
  uint32_t receivedCount = 0;

 private:
  // A byte that had to be read to tell data from end on a stream that cannot count its bytes.
  int peeked = -1;
};
