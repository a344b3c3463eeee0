# orvik_embed_page(TARGET FOLDER): the files of the explorer's page as part of a program, so that it needs none of
# them where it is installed. Writes the source of `pageFiles()`, anew when a file changes.
function(orvik_embed_page target folder)
  file(GLOB files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*)
  list(SORT files)
  set(contents)
  set(rows)
  set(index 0)
  foreach(file IN LISTS files)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    get_filename_component(name ${file} NAME)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND contents "constexpr char file${index}[] = {${bytes}};\n")
    string(APPEND rows "    {\"${name}\", {file${index}, sizeof file${index}}},\n")
    math(EXPR index "${index} + 1")
  endforeach()
  set(source ${CMAKE_BINARY_DIR}/generated/PageFiles.cpp)
  string(CONCAT text
    "#include \"orvik/Browse/PageFiles.h\"\n\nnamespace orvik::host {\n\nnamespace {\n\n${contents}\n"
    "constexpr PageFile files[] = {\n${rows}};\n\n}  // namespace\n\n"
    "std::span<const PageFile> pageFiles() { return files; }\n\n}  // namespace orvik::host\n")
  file(GENERATE OUTPUT ${source} CONTENT "${text}")
  target_sources(${target} PRIVATE ${source})
endfunction()
