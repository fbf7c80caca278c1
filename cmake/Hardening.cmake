# An optimised build is hardened as Debian's own packages are, as far as the compiler and the linker take it: position
# independent, all symbols bound at the start, checked string and memory calls, guarded stacks. The sanitizers bring
# their own checks and do not go together with the checked calls.
if(TICKETFLASH_SANITIZE)
  return()
endif()
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

set(optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
# Fortifying is undefined first: some compilers define it by themselves, and would warn.
foreach(flag -fPIE -fstack-protector-strong "-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2")
  string(MAKE_C_IDENTIFIER "COMPILER_TAKES ${flag}" taken)
  check_cxx_compiler_flag("${flag}" ${taken})
  if(${taken})
    add_compile_options("$<${optimised}:SHELL:${flag}>")
  endif()
endforeach()
foreach(flag -pie -Wl,-z,relro -Wl,-z,now)
  string(MAKE_C_IDENTIFIER "LINKER_TAKES ${flag}" taken)
  check_linker_flag(CXX ${flag} ${taken})
  if(${taken})
    add_link_options("$<${optimised}:${flag}>")
  endif()
endforeach()
