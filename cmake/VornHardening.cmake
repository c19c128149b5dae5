# vorn_hardened(<target>): what makes a fault in a part of the library harder to use. An optimised build checks the
# bounds that the compiler knows, the return addresses, and the growth of the stack; a library that is linked has no
# executable stack, and its tables of addresses are read-only once it is loaded. A sanitizer checks more, in its own way.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection=full VORN_HAS_CF_PROTECTION)
check_cxx_compiler_flag(-fstack-clash-protection VORN_HAS_STACK_CLASH_PROTECTION)

function(vorn_hardened target)
  if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    return()
  endif()
  set(options -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
  if(VORN_HAS_CF_PROTECTION)
    list(APPEND options -fcf-protection=full)
  endif()
  if(VORN_HAS_STACK_CLASH_PROTECTION)
    list(APPEND options -fstack-clash-protection)
  endif()
  target_compile_options(${target} PRIVATE "$<$<NOT:$<CONFIG:Debug>>:${options}>")
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL OBJECT_LIBRARY)
    target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now,-z,noexecstack)
  endif()
endfunction()
