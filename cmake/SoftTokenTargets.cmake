# Settings that every target of the project shares.

add_library(softtoken_options INTERFACE)
target_compile_options(softtoken_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
  -fstack-protector-strong
  # GCC 12 sees overlaps within std::string that are not there (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
target_compile_definitions(softtoken_options INTERFACE
  "$<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=2>")
target_link_options(softtoken_options INTERFACE
  "$<$<PLATFORM_ID:Linux>:-Wl,-z,relro,-z,now,--as-needed>")
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

# softtoken_test(NAME SOURCES... [LIBRARIES targets...] [TIMEOUT seconds]): one suite, one CTest entry.
function(softtoken_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE softtoken_options ${arg_LIBRARIES} GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    TEST_VECTORS="${PROJECT_SOURCE_DIR}/tests/vectors")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()
