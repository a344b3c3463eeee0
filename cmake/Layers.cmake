# orvik_library(NAME "FOLDER;..." PUBLIC ... PRIVATE ...): all sources of these folders as one static library.
function(orvik_library name folders)
  set(sources)
  foreach(folder IN LISTS folders)
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  if(NOT sources)
    file(WRITE ${CMAKE_BINARY_DIR}/${name}-empty.cpp "")
    set(sources ${CMAKE_BINARY_DIR}/${name}-empty.cpp)
  endif()
  add_library(${name} STATIC ${sources})
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE orvik_warnings)
  target_link_libraries(${name} ${ARGN})
  # Many sources in one halve what a library costs; a sanitizer build is nobody's to edit in.
  if(ORVIK_SANITIZE)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  endif()
endfunction()

# Sources with names of their own that other sources of their namespace use too: they are built alone everywhere.
set_source_files_properties(
  JamfCore/Networking/APIClient.cpp
  OrvikCore/Store/CollectionPreflight.cpp
  Platform/Crypto/KeyedHash.cpp
  Platform/Files/SecretFile.cpp
  Platform/Hex.cpp
  Platform/Keychain/TokenPIN.cpp
  Platform/Locale/Letters.cpp
  Platform/Preferences/UserPreferences.cpp
  PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

# orvik_program(NAME FOLDER LIBRARY...): a program of all sources of one folder. All but main.cpp is also the
# library NAME-parts, so that tests reach it.
function(orvik_program name folder)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
  list(REMOVE_ITEM sources ${CMAKE_SOURCE_DIR}/${folder}/main.cpp)
  if(NOT sources)
    file(WRITE ${CMAKE_BINARY_DIR}/${name}-empty.cpp "")
    set(sources ${CMAKE_BINARY_DIR}/${name}-empty.cpp)
  endif()
  add_library(${name}-parts STATIC ${sources})
  set_target_properties(${name}-parts PROPERTIES LINKER_LANGUAGE CXX)
  target_link_libraries(${name}-parts PUBLIC ${ARGN} PRIVATE orvik_warnings)
  target_compile_definitions(${name}-parts PUBLIC ORVIK_VERSION="${PROJECT_VERSION}")
  if(ORVIK_SANITIZE)
    orvik_precompile(${name}-parts)
  endif()
  add_executable(${name} ${CMAKE_SOURCE_DIR}/${folder}/main.cpp)
  target_link_libraries(${name} PRIVATE ${name}-parts orvik_warnings)
endfunction()
