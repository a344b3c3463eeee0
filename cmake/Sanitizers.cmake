# ORVIK_SANITIZE applies to everything that is built here.
# Under the address sanitizer the compiler sees std::stop_source's own constructor as a use of itself before it
# is made; the plain build keeps that warning.
if(ORVIK_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
    -Wno-maybe-uninitialized)
  add_link_options(-fsanitize=address,undefined)
elseif(ORVIK_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(ORVIK_SANITIZE)
  message(FATAL_ERROR "ORVIK_SANITIZE is address, thread or empty, not ${ORVIK_SANITIZE}")
endif()
