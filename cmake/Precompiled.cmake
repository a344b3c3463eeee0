# orvik_precompile(TARGET [HEADER...]): what most sources of a target include is parsed once for all of them.
# Libraries and programs are built so under a sanitizer only: a plain build shows which header forgot an include.
# A target of a few sources gains nothing.
set(orvik_common_headers <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <exception> <filesystem>
  <functional> <map> <memory> <mutex> <optional> <set> <span> <stop_token> <string> <string_view> <thread> <tuple>
  <unordered_map> <utility> <variant> <vector> <fmt/format.h>)

function(orvik_precompile target)
  get_target_property(sources ${target} SOURCES)
  list(LENGTH sources count)
  if(count GREATER 6)
    target_precompile_headers(${target} PRIVATE ${orvik_common_headers} ${ARGN})
  endif()
endfunction()
