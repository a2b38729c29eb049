# The codec tests load the real plug-ins (directly and through the engine's bindings) and
# read their output back with libsndfile.
if(TARGET pcm_decoder)
  target_link_libraries(${name}_tests PRIVATE plugins foundation pcm_common codec_common ${CMAKE_DL_LIBS})
  add_dependencies(${name}_tests pcm_decoder wav_encoder aiff_encoder w64_encoder)
endif()
# The tag bridge's block is checked against the tag list's own block form.
if(TARGET codec_tags)
  target_link_libraries(${name}_tests PRIVATE codec_tags tags)
endif()
# The MP3 tests run whole conversions through the program.
if(TARGET mp3_decoder)
  add_dependencies(${name}_tests mp3_decoder mp3_encoder transmill)
endif()

# Each codec's own tests (tests/codecs/<codec>/, an executable apiece) call this from their
# extra.cmake with the plug-in targets they exercise: the loading and reading helpers above,
# the tag bridge's block, and the program with the PCM plug-ins for whole conversions.
function(tv_codec_tests target)
  target_link_libraries(${target} PRIVATE plugins foundation pcm_common codec_common codec_tags tags ${CMAKE_DL_LIBS})
  add_dependencies(${target} transmill pcm_decoder wav_encoder aiff_encoder w64_encoder ${ARGN})
endfunction()

# The lossless chain runs through the FLAC and WavPack plug-ins when they are built.
foreach(plugin flac_decoder flac_encoder wavpack_decoder wavpack_encoder)
  if(TARGET ${plugin})
    add_dependencies(codecs_tests ${plugin} transmill)
  endif()
endforeach()

# Every decoder plug-in that is built answers the test of the shared entry points.
foreach(plugin mp3_decoder flac_decoder vorbis_decoder opus_decoder wavpack_decoder)
  if(TARGET ${plugin})
    add_dependencies(codecs_tests ${plugin})
  endif()
endforeach()

# Every encoder plug-in that is built answers the test of the shared entry points.
foreach(plugin mp3_encoder flac_encoder vorbis_encoder opus_encoder wavpack_encoder)
  if(TARGET ${plugin})
    add_dependencies(codecs_tests ${plugin})
  endif()
endforeach()

# A plug-in whose codec calls throw, to show that no exception leaves the exports.
tv_codec_plugin(throwing_codec broken throwing ${CMAKE_CURRENT_SOURCE_DIR}/codecs/broken/ThrowingCodec.cpp)
target_link_libraries(throwing_codec PRIVATE codec_decoder codec_encoder)
set_target_properties(throwing_codec PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${TV_TEST_BIN_DIR}/codecs)
add_dependencies(codecs_tests throwing_codec)
target_compile_definitions(codecs_tests PRIVATE TV_TEST_CODEC="${TV_TEST_BIN_DIR}/codecs/throwing.so")
