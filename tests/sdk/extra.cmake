# The plug-in records' layout, proved by compiling its static assertions as C and as C++, natively
# and with -m32 (32-bit programs cannot run here; the multilib compilers only need to parse).
set(layout ${dir}/layout/tv_plugin_layout.c)
foreach(bits 64 32)
  set(flag "")
  if(bits EQUAL 32)
    set(flag -m32)
  endif()
  add_test(NAME TvPluginLayout${bits}.C
    COMMAND ${CMAKE_C_COMPILER} ${flag} -std=c11 -Wall -Wextra -Werror -fsyntax-only
            -I${CMAKE_SOURCE_DIR} ${layout})
  add_test(NAME TvPluginLayout${bits}.Cxx
    COMMAND ${CMAKE_CXX_COMPILER} ${flag} -std=c++20 -Wall -Wextra -Werror -fsyntax-only
            -I${CMAKE_SOURCE_DIR} -x c++ ${layout})
endforeach()
