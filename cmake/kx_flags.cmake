# Compile and link flags of our own targets. Everything here is private: nothing reaches a user of the libraries.
#
#   kx_apply_flags(<target>)

include(CheckCXXCompilerFlag)

set(kx_warnings
  -Wall
  -Wextra
  -Wpedantic
  -Wshadow
  -Wconversion
  -Wnon-virtual-dtor
  -Wold-style-cast
  -Woverloaded-virtual
  -Wcast-qual
  -Wnull-dereference
  -Wformat=2
  -Wimplicit-fallthrough
  -Werror
  -Werror=format-security)

set(kx_hardening
  -fstack-protector-strong
  -D_GLIBCXX_ASSERTIONS)

foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "kx_has${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    list(APPEND kx_hardening ${flag})
  endif()
endforeach()

set(kx_link_hardening
  LINKER:-z,relro
  LINKER:-z,now
  LINKER:-z,noexecstack
  LINKER:--as-needed)

# Sanitizers bring checks of their own that fortified functions would hide, and FORTIFY does nothing without optimising.
# Undefined first: some distributions predefine a lower level.
set(kx_fortify "")
if(NOT KX_SANITIZE AND NOT KX_COVERAGE)
  set(kx_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
  set(kx_fortify "$<${kx_optimised}:-U_FORTIFY_SOURCE>" "$<${kx_optimised}:-D_FORTIFY_SOURCE=3>")
endif()

set(kx_sanitize "")
if(KX_SANITIZE)
  set(kx_sanitize -fsanitize=${KX_SANITIZE} -fno-omit-frame-pointer)
  if(KX_SANITIZE MATCHES "undefined")
    list(APPEND kx_sanitize -fno-sanitize-recover=undefined)
  endif()
endif()
if(KX_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "KX_FUZZ needs clang, found ${CMAKE_CXX_COMPILER_ID}")
  endif()
  list(APPEND kx_sanitize -fsanitize=fuzzer-no-link)
  # What -Wconversion means to GCC: clang counts changes of sign as well.
  list(APPEND kx_warnings -Wno-sign-conversion)
endif()

# GCC reports null dereferences in the standard library's own code once sanitizers add their branches. The last option
# is for clang-tidy, which reads the same command lines and knows fewer of them.
set(kx_sanitize_warnings "")
if(KX_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(kx_sanitize_warnings -Wno-null-dereference -Wno-maybe-uninitialized -Wno-unknown-warning-option)
endif()

function(kx_apply_flags target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_compile_options(${target} PRIVATE
    ${kx_warnings}
    ${kx_sanitize_warnings}
    ${kx_hardening}
    ${kx_fortify}
    ${kx_sanitize}
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=."
    "-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build")
  target_link_options(${target} PRIVATE ${kx_link_hardening} ${kx_sanitize})
  if(KX_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()
