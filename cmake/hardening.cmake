# What a program that runs as root and reads bytes of unknown devices should have, where the compiler
# has it. scripts/check-hardening looks for it in what was built.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-protector-strong HAS_STACK_PROTECTOR)
if(HAS_STACK_PROTECTOR)
  add_compile_options(-fstack-protector-strong)
  add_link_options(-fstack-protector-strong)  # MinGW links its library for it
endif()
check_cxx_compiler_flag(-fstack-clash-protection HAS_STACK_CLASH_PROTECTION)
# MinGW's GCC 12 fails inside on it. Windows has guard pages that compilers probe in any case.
if(HAS_STACK_CLASH_PROTECTION AND NOT WIN32)
  add_compile_options(-fstack-clash-protection)
endif()
check_cxx_compiler_flag(-fcf-protection=full HAS_CONTROL_FLOW_PROTECTION)
if(HAS_CONTROL_FLOW_PROTECTION)
  add_compile_options(-fcf-protection=full)
endif()
# Checked library calls need an optimizing build, and get in the way of the sanitizers. A packager
# who sets a level of his own keeps it.
if(NOT OSTRIA_SANITIZE AND NOT CMAKE_CXX_FLAGS MATCHES "FORTIFY_SOURCE")
  add_compile_options($<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
                      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
endif()
# Checked containers cost time, so they are for the builds that look for faults.
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()
