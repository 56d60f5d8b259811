# What makes a fault in memory harder to use, for the project's own targets (those that link
# kelo_flags). Each measure is taken where the compiler and the linker have it; what has become of
# them in the binaries is seen by `scripts/check hardened`.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

set(CMAKE_REQUIRED_FLAGS -Werror)  # an option that the compiler only ignores is not there
foreach(option IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection
                        -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "KELO_HAS${option}" has)
  check_cxx_compiler_flag(${option} ${has})
  if(${has})
    target_compile_options(kelo_flags INTERFACE ${option})
  endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)

foreach(option IN ITEMS relro now noexecstack defs)
  check_linker_flag(CXX -Wl,-z,${option} KELO_LINKS_${option})
  if(KELO_LINKS_${option})
    target_link_options(kelo_flags INTERFACE -Wl,-z,${option})
  endif()
endforeach()

# CMake compiles programs position independent, but leaves it to the compiler how they are linked.
check_linker_flag(CXX -pie KELO_LINKS_PIE)
if(KELO_LINKS_PIE)
  target_link_options(kelo_flags INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
endif()

# Calls of the C library that know how much room there is. A level works in a configuration if a
# program built with it, without a warning, has such a call: of strcpy where the room is known when
# compiling (2), of memcpy where it is known when running (3). Without optimisation none has; where
# the compiler's flags set a level in a way that cannot be taken back, theirs stays.
set(probe [[
#include <cstdio>
#include <cstdlib>
#include <cstring>
int main(int count, char** words) {
  char fixed[16];
  std::strcpy(fixed, words[0]);
  char* block = static_cast<char*>(std::malloc(static_cast<std::size_t>(count) * 8));
  std::memcpy(block, words[0], std::strlen(words[0]) + 1);
  return std::puts(fixed) + std::puts(block);
}
]])
set(call_of_3 __memcpy_chk)
set(call_of_2 __strcpy_chk)
function(kelo_harden_calls configuration)
  set(CMAKE_TRY_COMPILE_CONFIGURATION ${configuration})
  string(TOUPPER CMAKE_CXX_FLAGS_${configuration} flags)
  set(given "${${flags}}")
  set(program ${PROJECT_BINARY_DIR}/CMakeFiles/fortify-probe)
  foreach(level IN ITEMS 3 2)
    set(fortify "-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${level}")
    set(${flags} "${given} ${fortify} -Werror")
    try_compile(works SOURCE_FROM_VAR probe.cpp probe NO_CACHE COPY_FILE ${program})
    set(calls)
    if(works)
      file(STRINGS ${program} calls REGEX ${call_of_${level}})
    endif()
    if(calls)
      target_compile_options(kelo_flags INTERFACE "$<$<CONFIG:${configuration}>:SHELL:${fortify}>")
      message(STATUS "${configuration}: calls of the C library are checked, level ${level}")
      break()
    endif()
  endforeach()
endfunction()

if(CMAKE_CONFIGURATION_TYPES)
  set(configurations ${CMAKE_CONFIGURATION_TYPES})
else()
  set(configurations ${CMAKE_BUILD_TYPE})
endif()
foreach(configuration IN LISTS configurations)
  kelo_harden_calls(${configuration})
endforeach()
