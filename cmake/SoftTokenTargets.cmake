# Settings that every target of the project shares.

include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Hardening, as far as the compiler and the processor have it. script/check-hardening looks at the
# result. A flag that a compiler only warns of is of no use on its system.
foreach(flag -fcf-protection -fstack-clash-protection)
  string(MAKE_C_IDENTIFIER "SOFTTOKEN${flag}" known)
  set(CMAKE_REQUIRED_FLAGS -Werror)
  check_cxx_compiler_flag("${flag}" ${known})
  unset(CMAKE_REQUIRED_FLAGS)
  if(${known})
    list(APPEND hardening "${flag}")
  endif()
endforeach()
# Start-up code of the C library may lack the note; it keeps to the shadow stack all the same.
check_linker_flag(CXX "-Wl,-z,shstk" SOFTTOKEN_SHADOW_STACK)
if(SOFTTOKEN_SHADOW_STACK AND SOFTTOKEN_fcf_protection AND NOT APPLE)
  set(hardening_links "-Wl,-z,shstk")
endif()
# Of no effect without optimisation, and in the way of the sanitizers' own checks.
if(NOT SOFTTOKEN_SANITIZE)
  set(fortify _FORTIFY_SOURCE=2)
  if((CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12)
      OR (CMAKE_CXX_COMPILER_ID STREQUAL Clang AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12))
    set(fortify _FORTIFY_SOURCE=3)
  endif()
endif()

add_library(softtoken_options INTERFACE)
target_compile_options(softtoken_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
  -fstack-protector-strong ${hardening}
  # GCC 12 sees overlaps within std::string that are not there (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
target_compile_definitions(softtoken_options INTERFACE _GLIBCXX_ASSERTIONS
  "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:${fortify}>")
target_link_options(softtoken_options INTERFACE
  "$<$<PLATFORM_ID:Linux>:-Wl,-z,relro,-z,now,-z,noexecstack,--as-needed>" ${hardening_links})
# Includes name the folder: "engine/vane.h".
target_include_directories(softtoken_options INTERFACE "${PROJECT_SOURCE_DIR}")

if(SOFTTOKEN_SANITIZE)
  add_compile_options("-fsanitize=${SOFTTOKEN_SANITIZE}" -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options("-fsanitize=${SOFTTOKEN_SANITIZE}")
endif()
if(SOFTTOKEN_COVERAGE)
  add_compile_options(--coverage -O0 -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# softtoken_folder(NAME SOURCES... [PUBLIC targets...]): one folder, one static library.
function(softtoken_folder name)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(softtoken_${name} STATIC ${arg_SOURCES})
  target_link_libraries(softtoken_${name} PUBLIC ${arg_PUBLIC} PRIVATE softtoken_options ${arg_PRIVATE})
  target_include_directories(softtoken_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
endfunction()

# softtoken_module(NAME SOURCES... [PRIVATE targets...]): code that only some
# commands need; loaded at run time by the commands that do.
function(softtoken_module name)
  cmake_parse_arguments(arg "" "" "SOURCES;PRIVATE" ${ARGN})
  add_library(softtoken_${name} MODULE ${arg_SOURCES})
  target_link_libraries(softtoken_${name} PRIVATE softtoken_options ${arg_PRIVATE})
  set_target_properties(softtoken_${name} PROPERTIES
    PREFIX "" OUTPUT_NAME "${name}"
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LIBRARY_OUTPUT_DIRECTORY "${SOFTTOKEN_MODULE_OUTPUT_DIRECTORY}")
  install(TARGETS softtoken_${name} LIBRARY DESTINATION lib/softtoken)
endfunction()

# softtoken_tests(FOLDER [PROGRAM name] [SUITES sources...] [WITHOUT sources...] [HELPERS sources...]
#   [LIBRARIES targets...] [DEFINITIONS words...] [ENVIRONMENT variables...] [MAIN target]
#   [TIMEOUT seconds] [COST number])
#
# The test program of a folder, FOLDER_tests unless PROGRAM names it. Its suites are SUITES, or else
# all *_test.cpp of the folder but those WITHOUT and HELPERS. Each has a CTest entry of its own:
# FOLDER/NAME for NAME_test.cpp. Entries of a higher COST start first.
function(softtoken_tests folder)
  cmake_parse_arguments(arg "" "PROGRAM;MAIN;TIMEOUT;COST"
    "SUITES;WITHOUT;HELPERS;LIBRARIES;DEFINITIONS;ENVIRONMENT" ${ARGN})
  foreach(default "PROGRAM ${folder}_tests" "MAIN softtoken_test_main" "TIMEOUT 120" "COST 1")
    separate_arguments(default)
    list(GET default 0 name)
    if(NOT DEFINED arg_${name})
      list(GET default 1 arg_${name})
    endif()
  endforeach()
  if(NOT arg_SUITES)
    file(GLOB arg_SUITES CONFIGURE_DEPENDS RELATIVE "${CMAKE_CURRENT_SOURCE_DIR}" *_test.cpp)
    list(REMOVE_ITEM arg_SUITES ${arg_WITHOUT} ${arg_HELPERS})
  endif()
  add_executable(${arg_PROGRAM} ${arg_SUITES} ${arg_HELPERS})
  target_link_libraries(${arg_PROGRAM} PRIVATE ${arg_MAIN} ${arg_LIBRARIES})
  target_compile_definitions(${arg_PROGRAM} PRIVATE ${arg_DEFINITIONS})
  target_precompile_headers(${arg_PROGRAM} REUSE_FROM ${arg_MAIN})
  foreach(source ${arg_SUITES})
    string(REGEX REPLACE "_test\\.cpp$" "" suite "${source}")
    add_test(NAME ${folder}/${suite} COMMAND ${arg_PROGRAM} --suite=${suite})
    set_tests_properties(${folder}/${suite} PROPERTIES
      TIMEOUT ${arg_TIMEOUT} COST ${arg_COST} ENVIRONMENT "${arg_ENVIRONMENT}")
  endforeach()
endfunction()
