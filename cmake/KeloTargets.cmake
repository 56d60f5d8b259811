# Target helpers: warnings, sanitizers, hardening, and one object library per folder of src/.

add_library(kelo_flags INTERFACE)
target_compile_options(kelo_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # gcc 12 takes the inlined `"text" + std::string` for overlapping copies.
  target_compile_options(kelo_flags INTERFACE -Wno-restrict)
endif()
if(KELO_SANITIZE)
  target_compile_options(kelo_flags INTERFACE
    -fsanitize=${KELO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(kelo_flags INTERFACE -fsanitize=${KELO_SANITIZE})
elseif(KELO_HARDEN)
  include(KeloHarden)
endif()
# Debug builds, those of the sanitizers too, end at a wrong use of the standard library.
target_compile_definitions(kelo_flags INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

# kelo_module(NAME SOURCES file... [LIBRARIES target...]): the object library kelo_NAME of a folder
# of src/. LIBRARIES are the outside libraries that its sources call.
function(kelo_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(kelo_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(kelo_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(kelo_${name} PUBLIC ${ARG_LIBRARIES} PRIVATE $<BUILD_INTERFACE:kelo_flags>)
endfunction()

# The programs that also run under the thread sanitizer: those labelled `threads`.
add_custom_target(kelo_threaded_tests)

# kelo_test(NAME SOURCES file... [LIBRARIES target...] [LABELS label...]): a GoogleTest program whose
# cases are registered one by one with CTest.
function(kelo_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  # An EXPECT_ below an unbraced `if` is no dangling else: its macro guards against one.
  target_compile_options(${name} PRIVATE -Wno-dangling-else)
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} kelo_flags GTest::gmock GTest::gtest GTest::gtest_main)
  set(properties TIMEOUT ${KELO_TEST_SECONDS})
  if(ARG_LABELS)  # an empty value would be dropped on the way, and TIMEOUT taken for the label
    list(APPEND properties LABELS "${ARG_LABELS}")
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
  if("threads" IN_LIST ARG_LABELS)
    add_dependencies(kelo_threaded_tests ${name})
  endif()
endfunction()

# kelo_program_manual(NAME): makes the manual page NAME.1 of a program that prints it when called with
# --man, from the same texts as --help. It is in the current binary folder.
function(kelo_program_manual name)
  add_custom_command(OUTPUT ${name}.1
    COMMAND $<TARGET_FILE:${name}> --man > ${name}.1.new
    COMMAND ${CMAKE_COMMAND} -E rename ${name}.1.new ${name}.1
    DEPENDS ${name} VERBATIM)
  add_custom_target(${name}_manual ALL DEPENDS ${name}.1)
endfunction()
