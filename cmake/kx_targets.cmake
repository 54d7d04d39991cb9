# How a library and a test of this project are declared.
#
#   kx_add_library(<name> SOURCES <file>... DEPENDS <our library>... PRIVATE <third-party target>...)
#   kx_add_executable(<name> SOURCES <file>... LIBRARIES <target>...)
#   kx_add_test(<name> SOURCES <file>... LIBRARIES <target>... [TIMEOUT <seconds>] [LABELS <label>...])

include(GenerateExportHeader)

# No program holds a path of the source tree. Those in the build tree find the sample installation through a link that
# stands to them as the installed folder does to an installed program; test executables have a folder of their own.
foreach(folder IN ITEMS share tests/share)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/${folder}/kxclientutil")
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/share/installation"
    "${PROJECT_BINARY_DIR}/${folder}/kxclientutil/installation" SYMBOLIC)
endforeach()

# <name> becomes a target with the alias kxclientutil::<name>. Its public headers are in include/<name>/ beside the
# calling CMakeLists.txt, or in the folder given as INCLUDE. The export macro is in <name>/export.h, made in the build tree.
# Libraries given under DEPENDS are public; what is given under PRIVATE never shows in a header.
function(kx_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "INCLUDE" "SOURCES;DEPENDS;PRIVATE")
  if(NOT arg_INCLUDE)
    set(arg_INCLUDE "${CMAKE_CURRENT_SOURCE_DIR}/include")
  endif()
  set_property(GLOBAL APPEND PROPERTY kx_libraries ${name})
  install(DIRECTORY "${arg_INCLUDE}/${name}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")
  list(TRANSFORM arg_DEPENDS PREPEND "kxclientutil::")
  string(TOUPPER "${name}" upper)
  set(generated "${CMAKE_CURRENT_BINARY_DIR}/generated")

  install(FILES "${generated}/${name}/export.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${name}")

  # A library of headers only exports nothing.
  if(NOT arg_SOURCES)
    file(CONFIGURE OUTPUT "${generated}/${name}/export.h" CONTENT "#pragma once\n#define ${upper}_EXPORT\n")
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE
      "$<BUILD_INTERFACE:${arg_INCLUDE}>"
      "$<BUILD_INTERFACE:${generated}>"
      "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    target_link_libraries(${name} INTERFACE ${arg_DEPENDS})
    add_library(kxclientutil::${name} ALIAS ${name})
    return()
  endif()

  add_library(${name} ${arg_SOURCES})
  add_library(kxclientutil::${name} ALIAS ${name})
  target_include_directories(${name}
    PUBLIC
      "$<BUILD_INTERFACE:${arg_INCLUDE}>"
      "$<BUILD_INTERFACE:${generated}>"
      "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>"
    PRIVATE
      "${CMAKE_CURRENT_SOURCE_DIR}")
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE ${arg_PRIVATE})
  kx_apply_flags(${name})
  # An archive is linked by whatever compiler its user has, so it holds ordinary code besides what the optimiser needs.
  if(CMAKE_INTERPROCEDURAL_OPTIMIZATION AND NOT BUILD_SHARED_LIBS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -ffat-lto-objects)
  endif()
  set_target_properties(${name} PROPERTIES
    INSTALL_RPATH "\$ORIGIN"
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

  generate_export_header(${name}
    BASE_NAME ${name}
    EXPORT_MACRO_NAME ${upper}_EXPORT
    EXPORT_FILE_NAME "${generated}/${name}/export.h")
  # Public: the header leaves the macro empty in a static build, for users as well.
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${name} PUBLIC ${upper}_STATIC_DEFINE)
  endif()
endfunction()

# Programs are in bin/ of the build tree, where they stand to share/ as they do when installed.
function(kx_add_executable name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  if(NOT arg_SOURCES)
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  kx_apply_flags(${name})
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin"
    INSTALL_RPATH "\$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endfunction()

# target_precompile_headers, so that ccache sees which precompiled header is used; the presets allow it to.
function(kx_precompile_headers name)
  target_precompile_headers(${name} ${ARGN})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -fpch-preprocess)
  endif()
endfunction()

# Compiling the tests takes longer than running them: only what is tested is optimised as the build says, and looked through
# for undefined behaviour.
function(kx_apply_test_flags name)
  kx_apply_flags(${name})
  if(KX_SANITIZE)
    target_compile_options(${name} PRIVATE -O0 -g1 -fno-sanitize=undefined)
  else()
    target_compile_options(${name} PRIVATE "$<$<CONFIG:Release,RelWithDebInfo>:-O1>" -g1)
    # GCC 12 takes texts that are put together of temporaries for writes out of bounds, and an allocator of a test's own for
    # a mismatch. What is tested keeps these warnings.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${name} PRIVATE -Wno-array-bounds -Wno-stringop-overflow -Wno-restrict
                             -Wno-mismatched-new-delete)
    endif()
  endif()
  # Optimising across files once more for every test executable would take longer than the tests.
  if(CMAKE_INTERPROCEDURAL_OPTIMIZATION)
    set_target_properties(${name} PROPERTIES INTERPROCEDURAL_OPTIMIZATION OFF)
    target_link_options(${name} PRIVATE -fno-lto)
  endif()
endfunction()

# The framework's headers are a third of what compiling a test takes. They are compiled once, for a program of nothing
# else: GCC takes a precompiled header only with the flags that it was made with.
function(kx_precompile_test_framework name)
  if(NOT TARGET kx_test_framework)
    file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/tests/test_framework.cpp" CONTENT "")
    add_executable(kx_test_framework "${PROJECT_BINARY_DIR}/tests/test_framework.cpp")
    target_link_libraries(kx_test_framework PRIVATE GTest::gmock_main)
    kx_apply_test_flags(kx_test_framework)
    target_precompile_headers(kx_test_framework PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  endif()
  kx_precompile_headers(${name} REUSE_FROM kx_test_framework)
endfunction()

# Tests are discovered when ctest runs, so a build does not start the executable. KX_SOURCE_DIR is the root of the
# project. The label "concurrent" is for tests that start threads: they run with the thread sanitizer too, and the target
# concurrent_tests builds them.
function(kx_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS")
  if(NOT arg_SOURCES)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} kx_test_support GTest::gmock_main)
  kx_precompile_test_framework(${name})
  # A test may name private headers of the library that its folder is called after, as the library's sources do.
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME library)
  set(private "${PROJECT_SOURCE_DIR}/core/${library}/src")
  if(library STREQUAL "kxclientutil")
    set(private "${PROJECT_SOURCE_DIR}/src")
  endif()
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests" "${private}")
  target_compile_definitions(${name} PRIVATE "KX_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\"")
  kx_apply_test_flags(${name})
  set(properties TIMEOUT ${arg_TIMEOUT})
  if(arg_LABELS)
    list(APPEND properties LABELS "${arg_LABELS}")
  endif()
  if("concurrent" IN_LIST arg_LABELS)
    add_dependencies(concurrent_tests ${name})
  endif()
  gtest_discover_tests(${name}
    TEST_PREFIX "${name}."
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES ${properties})
endfunction()
