// System calls behind XFile, XPipe and their helpers; every failure sets the last error.
#pragma once
#include <cstdint>

#include "foundation/XFile.h"

namespace xfileos {

struct OpenResult {
  XHandle handle = XInvalidHandle;
  bool existed = false;
};

// Opens name by access, disposition and sharing; handle stays invalid on failure.
OpenResult Open(const char* name, uint32_t access, uint32_t disposition, bool shareable);
void Close(XHandle h);
// A handle that holds key machine-wide until it is closed; sharing violation when held.
XHandle Claim(const char* key);
// Duplicate of h, inherited by children only when asked.
XHandle Duplicate(XHandle h, bool inheritable);

// Reads up to count bytes; false only for a system failure. A short count is the end or, on
// a stream, all there is now.
bool Read(XHandle h, void* buffer, uint32_t count, uint32_t* outGot);
// Writes all of count unless the system refuses; a reader that has gone gives 109.
bool Write(XHandle h, const void* buffer, uint32_t count, uint32_t* outWritten);
bool Seek(XHandle h, int64_t offset, uint32_t origin, int64_t* outPosition);
int64_t Size(XHandle h);
bool EndFileAt(XHandle h, int64_t size);

enum class TimeKind { Creation, LastAccess, LastWrite };
// The time as 100 ns units since 1601; 0 and false on failure. h < 0 uses name.
bool FileTime(XHandle h, const char* name, TimeKind kind, uint64_t* outTime);

// A pipe's two ends; inheritable ones stay open in child processes.
bool CreatePipe(bool inheritable, XHandle* outRead, XHandle* outWrite);
// Bytes that can be read from a stream now, or outEnded once it has ended and is drained.
// Where only a read can tell (a terminal, a device), one byte is read: it is handed back in
// outByte (else -1) and counted.
uint32_t StreamWaiting(XHandle h, bool* outEnded, int* outByte);

// Read-only view of a whole file of size bytes; null on failure.
const uint8_t* MapReadOnly(XHandle h, uint64_t size);
void Unmap(const uint8_t* view, uint64_t size);

bool Delete(const char* name);
// Deletes the files in folder whose names end in suffix, ignoring ASCII case.
void DeleteFilesEndingWith(const char* folder, const char* suffix);
// Renames over an existing target.
bool Replace(const char* from, const char* to);
uint32_t ProcessId();
void SleepMs(uint32_t ms);

}  // namespace xfileos
