# Extra build steps of the plug-in host tests.
include(${dir}/handler/plugins.cmake)
include(${dir}/testplugins/plugins.cmake)
