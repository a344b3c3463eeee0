# orvik_precompile(TARGET [HEADER...]): what most sources of a target include is parsed once for all of them.
# Libraries and programs are built so under a sanitizer and where ORVIK_PRECOMPILE asks for it, as .ci/run does: any
# other build shows which source forgot an include. A target of a few sources gains nothing.
set(orvik_common_headers <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <exception> <filesystem>
  <functional> <map> <memory> <mutex> <optional> <set> <span> <stop_token> <string> <string_view> <thread> <tuple>
  <unordered_map> <utility> <variant> <vector> <fmt/format.h>)
# What stands above the ground floor is full of records.
set(orvik_record_headers ${CMAKE_SOURCE_DIR}/Platform/JSON/Codable.h)

function(orvik_precompile target)
  get_target_property(sources ${target} SOURCES)
  list(LENGTH sources count)
  if(count GREATER 6)
    set(records)
    if(NOT target MATCHES "^(Platform|TuvCore|SampleServer)")
      set(records ${orvik_record_headers})
    endif()
    target_precompile_headers(${target} PRIVATE ${orvik_common_headers} ${ARGN} ${records})
  endif()
endfunction()

function(orvik_precompile_own target)
  if(ORVIK_SANITIZE OR ORVIK_PRECOMPILE)
    orvik_precompile(${target})
  endif()
endfunction()
