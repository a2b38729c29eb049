# Scripted test plug-ins for the engine's child-process tests, and the program they run in.
foreach(kind Decoder Encoder DSP)
  add_library(TvScript${kind} MODULE ${dir}/plugins/TvScript${kind}.c)
  set_target_properties(TvScript${kind} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY
                        ${TV_TEST_BIN_DIR}/engine-plugins)
  add_dependencies(${name}_tests TvScript${kind})
endforeach()
foreach(kind Decoder Encoder DSP)
  target_link_libraries(TvScript${kind} PRIVATE sdk)
endforeach()
if(TARGET transmill)
  add_dependencies(${name}_tests transmill)
endif()
target_compile_definitions(${name}_tests PRIVATE
  TV_TEST_PLUGIN_DIR="${TV_TEST_BIN_DIR}/engine-plugins")
# The real wave plug-ins, for the end-to-end conversion.
foreach(codec pcm_decoder wav_encoder)
  if(TARGET ${codec})
    add_dependencies(${name}_tests ${codec})
  endif()
endforeach()
