// The transmill program: one process converts one audio file.
#include "engine/TvTransmill.h"

int main(int argc, char** argv) {
  int result = 0;
  {
    TvTransmill run(argc, argv);
    result = TvTransmill::ExitCode();
  }
  return result;
}
