# Every target of the project links this: the warnings are one list. They are errors where the presets of the tests
# and of CI say so (CMAKE_COMPILE_WARNING_AS_ERROR), not for somebody who builds the program with another compiler.
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Woverloaded-virtual
  -Wformat=2 -Wcast-align -Wcast-qual -Wdouble-promotion -Wimplicit-fallthrough -Wundef
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wuseless-cast>)
if(TICKETFLASH_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # GCC takes what the sanitizers add to the standard library's templates for reads of nothing.
  target_compile_options(project_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=address,undefined)
endif()
