# The plug-in host tests load the shared test plug-ins.
add_dependencies(${name}_tests tvtest_plugins)
target_compile_definitions(${name}_tests PRIVATE TV_TEST_PLUGIN_DIR="${TV_TEST_PLUGIN_DIR}")
