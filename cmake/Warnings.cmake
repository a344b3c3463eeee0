# The warnings that our own code is held to, as errors. A sanitizer makes the compiler see things that aren't there
# and costs time enough: what is built under one was built plainly too.
add_library(orvik_warnings INTERFACE)
if(ORVIK_SANITIZE)
  target_compile_options(orvik_warnings INTERFACE -w)
else()
  target_compile_options(orvik_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  if(ORVIK_PRECOMPILE)
    # Of precompiled headers the compiler forgets that they are the system's, and sees things in them too.
    target_compile_options(orvik_warnings INTERFACE
      -Wno-array-bounds -Wno-maybe-uninitialized -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
  endif()
endif()
