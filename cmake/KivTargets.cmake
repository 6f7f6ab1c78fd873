# The flags that every target of this project is built with.

set(KIV_WARNINGS
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Wimplicit-fallthrough
    -Wnull-dereference)
set(KIV_CXX_WARNINGS -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual)

# Applies language level, warnings and instrumentation to a target.
function(kiv_target_flags target)
  target_compile_features(${target} PRIVATE cxx_std_17 c_std_11)
  set_target_properties(${target} PROPERTIES C_EXTENSIONS OFF CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE ${KIV_WARNINGS} $<$<COMPILE_LANGUAGE:CXX>:${KIV_CXX_WARNINGS}>)
  if(KIV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(KIV_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KIV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${KIV_SANITIZE})
    if(NOT target STREQUAL "kiv" AND NOT KIV_FUZZ)
      target_compile_options(${target} PRIVATE -O0) # what is watched is the library; the rest is built in a quarter of the time
    endif()
  endif()
  if(KIV_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()
