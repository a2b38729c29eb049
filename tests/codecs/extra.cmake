# The codec tests load the real plug-ins (directly and through the engine's bindings), read
# their output back with libsndfile and run whole conversions through the program.
if(TARGET pcm_decoder)
  target_link_libraries(${name}_tests PRIVATE plugins foundation pcm_common codec_common ${CMAKE_DL_LIBS})
  add_dependencies(${name}_tests pcm_decoder wav_encoder aiff_encoder w64_encoder transmill)
endif()
# The tag bridge's block is checked against the tag list's own block form.
if(TARGET codec_tags)
  target_link_libraries(${name}_tests PRIVATE codec_tags tags)
endif()

# Each codec's own tests (tests/codecs/<codec>/, an executable apiece) call this from their
# extra.cmake with the plug-in targets they exercise: the loading and reading helpers above,
# the tag bridge's block, and the program with the PCM plug-ins for whole conversions.
function(tv_codec_tests target)
  target_link_libraries(${target} PRIVATE plugins foundation pcm_common codec_common codec_tags tags ${CMAKE_DL_LIBS})
  add_dependencies(${target} transmill pcm_decoder wav_encoder aiff_encoder w64_encoder ${ARGN})
endfunction()

# The tables across codecs take every codec plug-in that is built.
foreach(codec mp3 flac vorbis opus wavpack)
  foreach(plugin ${codec}_decoder ${codec}_encoder)
    if(TARGET ${plugin})
      add_dependencies(codecs_tests ${plugin})
    endif()
  endforeach()
endforeach()

# A plug-in whose codec calls throw, to show that no exception leaves the exports.
tv_codec_plugin(throwing_codec broken throwing ${CMAKE_CURRENT_SOURCE_DIR}/codecs/broken/ThrowingCodec.cpp)
target_link_libraries(throwing_codec PRIVATE codec_decoder codec_encoder)
set_target_properties(throwing_codec PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${TV_TEST_BIN_DIR}/codecs)
add_dependencies(codecs_tests throwing_codec)
target_compile_definitions(codecs_tests PRIVATE TV_TEST_CODEC="${TV_TEST_BIN_DIR}/codecs/throwing.so")
