// Where the running program and its loaded libraries live on disk.
#pragma once
#include "foundation/XString.h"

// The path of the executable for a null `module`; otherwise the path of the loaded
// library that holds the address `module` (any of its functions or data). Empty if unknown.
XString ModulePath(const void* module = nullptr);
// The folder of ModulePath(module), with a trailing "/".
XString ModuleFolder(const void* module = nullptr);
