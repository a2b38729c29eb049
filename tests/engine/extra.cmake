# The shared test plug-ins, installed by the child-process tests, and the program they run in.
add_dependencies(${name}_tests tvtest_plugins)
target_compile_definitions(${name}_tests PRIVATE TV_TEST_PLUGIN_DIR="${TV_TEST_PLUGIN_DIR}")
if(TARGET transmill)
  add_dependencies(${name}_tests transmill)
endif()
# The real wave plug-ins, for the end-to-end conversion.
foreach(codec pcm_decoder wav_encoder)
  if(TARGET ${codec})
    add_dependencies(${name}_tests ${codec})
  endif()
endforeach()
