# ORVIK_SANITIZE applies to everything that is built here.
# Left out of the undefined behaviours: a null pointer that is used stops the program under the address sanitizer
# anyway, and a wrong type or size behind one is memory that it watches. They double the time of a build.
if(ORVIK_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=null,vptr,object-size,alignment
    -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(ORVIK_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(ORVIK_SANITIZE)
  message(FATAL_ERROR "ORVIK_SANITIZE is address, thread or empty, not ${ORVIK_SANITIZE}")
endif()
