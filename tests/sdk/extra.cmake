# The plug-in records' 32-bit layout, proved by compiling its static assertions with -m32
# (32-bit programs cannot run here; the multilib compilers only need to parse).
set(layout32 ${dir}/layout32/tv_plugin_layout32.c)
add_test(NAME TvPluginLayout32.C
  COMMAND ${CMAKE_C_COMPILER} -m32 -std=c11 -Wall -Wextra -Werror -fsyntax-only
          -I${CMAKE_SOURCE_DIR} ${layout32})
add_test(NAME TvPluginLayout32.Cxx
  COMMAND ${CMAKE_CXX_COMPILER} -m32 -std=c++20 -Wall -Wextra -Werror -fsyntax-only
          -I${CMAKE_SOURCE_DIR} -x c++ ${layout32})
