# The warnings that our own code is held to, as errors.
add_library(orvik_warnings INTERFACE)
target_compile_options(orvik_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
