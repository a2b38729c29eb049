// Questions about the process's standard descriptors, and descriptor settings of the channels.
#pragma once
#include <cstdint>

// True when the descriptor is open in this process.
bool TvIsOpenDescriptor(int fd);
// True when the descriptor is a terminal, where text goes out as UTF-8.
bool TvIsTerminal(int fd);
// Keeps the descriptor from child processes (close on exec).
void TvKeepFromChildren(int fd);
