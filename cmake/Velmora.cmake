# Shared build settings: warnings as errors on our own targets, the sanitizer
# build, and one helper per kind of test.

if(VELMORA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# The fuzz build instruments every library for coverage; only the fuzzer
# executables link libFuzzer's main.
if(VELMORA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

function(velmora_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()

# Tests run from their own working folder so that nothing they write lands in
# the source tree; the offscreen platform lets widget tests run without X.
# Registers a built test with its time limit (300 s unless given) and the
# environment in ARGN.
function(velmora_register_test name timeout)
  add_test(NAME ${name} COMMAND ${name})
  if(NOT timeout)
    set(timeout 300)
  endif()
  set(env ${ARGN})
  if(TARGET velmorad)
    # End-to-end tests start the real server from the same build.
    list(APPEND env "VELMORAD=$<TARGET_FILE:velmorad>")
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout} ENVIRONMENT "${env}")
endfunction()

function(velmora_add_gtest name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main)
  velmora_warnings(${name})
  velmora_register_test(${name} "${T_TIMEOUT}")
endfunction()

function(velmora_add_qtest name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} Qt6::Test)
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  velmora_warnings(${name})
  velmora_register_test(${name} "${T_TIMEOUT}" "QT_QPA_PLATFORM=offscreen")
endfunction()
