# The bindings' test plug-ins: real shared libraries in testbin/plugins/{decoder,encoder,DSPs}, good and broken.
set(tv_test_plugin_dir ${TV_TEST_BIN_DIR}/plugins)
add_library(tvtest_plugin_core OBJECT ${dir}/testplugins/TestPluginCore.cpp)
target_compile_options(tvtest_plugin_core PRIVATE -fno-gnu-unique)

# One library: the file stem is also its name in the configuration and the call log.
function(tv_test_plugin source folder stem)
  set(target tvtest_${folder}_${stem})
  add_library(${target} MODULE ${dir}/testplugins/${source} $<TARGET_OBJECTS:tvtest_plugin_core>)
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".so" OUTPUT_NAME ${stem}
                        LIBRARY_OUTPUT_DIRECTORY ${tv_test_plugin_dir}/${folder})
  target_compile_definitions(${target} PRIVATE TVTEST_NAME="${stem}" ${ARGN})
  target_compile_options(${target} PRIVATE -fno-gnu-unique)
  target_link_options(${target} PRIVATE -Wl,--no-undefined)
  add_dependencies(${name}_tests ${target})
endfunction()

# A file that is no library, one cut short, and a folder with a library's name.
function(tv_test_broken_files folder source_target)
  file(MAKE_DIRECTORY ${tv_test_plugin_dir}/${folder}/Folder.so)
  file(WRITE ${tv_test_plugin_dir}/${folder}/Foreign.so "This is a text file, not a library.\n")
  add_custom_command(TARGET ${source_target} POST_BUILD
    COMMAND sh -c "head -c 2000 '$<TARGET_FILE:${source_target}>' > '${tv_test_plugin_dir}/${folder}/Truncated.so'"
    VERBATIM)
endfunction()

tv_test_plugin(TestDecoder.cpp decoder TestDecoder)
tv_test_plugin(TestDecoder.cpp decoder TestDecoder2)
tv_test_plugin(TestDecoder.cpp decoder NoSetPosition TVTEST_OMIT_SetPosition)
tv_test_plugin(TestDecoder.cpp decoder CreateFails TVTEST_CREATE_RETURNS_ZERO)
tv_test_broken_files(decoder tvtest_decoder_TestDecoder)

tv_test_plugin(TestEncoder.cpp encoder TestEncoder)
tv_test_plugin(TestEncoder.cpp encoder NoRemoveConfigBit TVTEST_OMIT_ENC_RemoveConfigBit)
tv_test_plugin(TestEncoder.cpp encoder CreateFails TVTEST_CREATE_RETURNS_ZERO)
tv_test_broken_files(encoder tvtest_encoder_TestEncoder)

tv_test_plugin(TestDSP.cpp DSPs TestDSP)
tv_test_plugin(TestDSP.cpp DSPs TestDSP2)
tv_test_plugin(TestDSP.cpp DSPs NoRemoveConfigBit TVTEST_OMIT_DSP_RemoveConfigBit)
tv_test_plugin(TestDSP.cpp DSPs CreateFails TVTEST_CREATE_RETURNS_ZERO)
tv_test_broken_files(DSPs tvtest_DSPs_TestDSP)
target_compile_definitions(${name}_tests PRIVATE TV_TEST_PLUGIN_DIR="${tv_test_plugin_dir}")
