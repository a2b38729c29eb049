# The test plug-ins (see TestPlugin.h), built once into testbin/plugins/{decoder,encoder,DSPs}
# with the variants that lack one export, and a file that is no library.
# Include it from any folder that needs them; depend on tvtest_plugins.
set(TV_TEST_PLUGIN_DIR ${CMAKE_BINARY_DIR}/testbin/plugins)
include_guard(GLOBAL)
set(tvtest_plugin_source ${CMAKE_CURRENT_LIST_DIR})
add_library(tvtest_plugin_core OBJECT ${tvtest_plugin_source}/TestPlugin.cpp)
target_compile_options(tvtest_plugin_core PRIVATE -fno-gnu-unique)
add_custom_target(tvtest_plugins)

# One library of a kind (Decoder, Encoder, DSP) under a file stem, the stem being its name.
function(tv_test_plugin kind folder stem)
  set(target tvtest_${folder}_${stem})
  add_library(${target} MODULE ${tvtest_plugin_source}/Test${kind}.cpp
                               $<TARGET_OBJECTS:tvtest_plugin_core>)
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".so" OUTPUT_NAME ${stem}
                        LIBRARY_OUTPUT_DIRECTORY ${TV_TEST_PLUGIN_DIR}/${folder})
  target_compile_definitions(${target} PRIVATE ${ARGN})
  target_compile_options(${target} PRIVATE -fno-gnu-unique)
  target_link_libraries(${target} PRIVATE sdk dl)
  target_link_options(${target} PRIVATE -Wl,--no-undefined)
  add_dependencies(tvtest_plugins ${target})
endfunction()

# A file that is no library, with a library's name.
file(WRITE ${TV_TEST_PLUGIN_DIR}/decoder/Foreign.so "This is a text file, not a library.\n")

tv_test_plugin(Decoder decoder TestDecoder)
tv_test_plugin(Decoder decoder NoSetPosition TVTEST_OMIT_SetPosition)
tv_test_plugin(Encoder encoder TestEncoder)
tv_test_plugin(Encoder encoder NoRemoveConfigBit TVTEST_OMIT_RemoveConfigBit)
tv_test_plugin(DSP DSPs TestDSP)
tv_test_plugin(DSP DSPs NoRemoveConfigBit TVTEST_OMIT_RemoveConfigBit)
