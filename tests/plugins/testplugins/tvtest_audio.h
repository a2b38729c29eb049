/* The audio the test decoder produces, for tests that check what arrived downstream. */
#ifndef TVTEST_AUDIO_H
#define TVTEST_AUDIO_H
#include <stdint.h>

/* Byte at a position of the decoded stream: varies within and across 256-byte runs, so that a
   lost, doubled or shifted block shows. */
static inline uint8_t TvTestAudioByte(uint64_t position) {
  return (uint8_t)(position * 7u + position / 256u);
}

/* Environment variable that names the configuration file of the test plug-ins. */
#define TVTEST_CONFIG_VARIABLE "TVTEST_PLUGIN_CONFIG"

#endif
