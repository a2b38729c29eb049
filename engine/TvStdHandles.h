// Questions about the process's standard descriptors.
#pragma once

// True when the descriptor is open in this process.
bool TvIsOpenDescriptor(int fd);
