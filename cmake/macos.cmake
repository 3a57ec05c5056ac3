# The macOS universal library (x86_64 for macOS 10.13 and later, arm64 for
# macOS 11 and later), built on Linux by Debian's clang and ld64.lld with the
# project's own C declarations and system library stub (cmake/macos/), libc++
# header-only, and merged by llvm-lipo. Two libraries come out, as from the
# other platforms' builds: ZTKStrings.dylib, which ships, and
# ZTKStrings_probe.dylib with the test hooks.
#
# Sets ZTK_MACOS_SHIPPED and ZTK_MACOS_PROBE (the files) and the target
# ZTKStrings_macos that makes both.

set(ZTK_LLVM_VERSION 14 CACHE STRING "The Debian LLVM release whose clang, lld and llvm-lipo build the macOS library")
find_program(ZTK_MAC_CLANG NAMES clang++-${ZTK_LLVM_VERSION} clang++ REQUIRED)
find_program(ZTK_MAC_LD NAMES ld64.lld-${ZTK_LLVM_VERSION} ld64.lld PATHS /usr/lib/llvm-${ZTK_LLVM_VERSION}/bin REQUIRED)
find_program(ZTK_MAC_LIPO NAMES llvm-lipo-${ZTK_LLVM_VERSION} llvm-lipo PATHS /usr/lib/llvm-${ZTK_LLVM_VERSION}/bin REQUIRED)
find_path(ZTK_LIBCXX_HEADERS NAMES __config PATHS /usr/lib/llvm-${ZTK_LLVM_VERSION}/include/c++/v1
          NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)

set(ZTK_MACOS_DIR ${CMAKE_SOURCE_DIR}/cmake/macos)
set(ZTK_MAC_FLAGS -std=c++17 -O2 -g0 -nostdlibinc -isystem ${ZTK_LIBCXX_HEADERS} -isystem ${ZTK_MACOS_DIR}/include -isystem ${CMAKE_SOURCE_DIR}/cmake/c_declarations
    -D_LIBCPP_HAS_NO_THREADS -D_LIBCPP_DISABLE_EXTERN_TEMPLATE
    # No C++ runtime: nothing throws, nothing asks for type information, and
    # the plugin runs on the host's one thread.
    -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -fvisibility-inlines-hidden
    -I${CMAKE_SOURCE_DIR}/src -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Werror)

# arch | clang target | macOS version the slice needs
set(ZTK_MAC_SLICES "x86_64|x86_64-apple-macos10.13|10.13" "arm64|arm64-apple-macos11|11.0")

file(GLOB_RECURSE ZTK_MAC_CORE CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/*.cpp)
list(FILTER ZTK_MAC_CORE EXCLUDE REGEX "src/frame/(plugin_main|plugin_alloc)\\.cpp$")
set(ZTK_MAC_OWN src/frame/plugin_main.cpp src/frame/plugin_alloc.cpp)

# Compiles `source` for one slice; appends the object to the list `out`.
function(ztk_mac_compile source arch target variant defines out)
  file(RELATIVE_PATH rel ${CMAKE_SOURCE_DIR} ${source})
  string(REPLACE "/" "_" stem ${rel})
  set(obj ${CMAKE_BINARY_DIR}/macos/${arch}/${variant}/${stem}.o)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/macos/${arch}/${variant})
  # Branches kept off 32-byte boundaries on Intel, as in the other x86 builds.
  set(arch_flags "")
  if(arch STREQUAL "x86_64")
    set(arch_flags -mbranches-within-32B-boundaries)
  endif()
  add_custom_command(
    OUTPUT ${obj}
    COMMAND ${ZTK_MAC_CLANG} -target ${target} ${ZTK_MAC_FLAGS} ${arch_flags} ${defines} -MD -MF ${obj}.d -c ${source} -o ${obj}
    DEPENDS ${source}
    DEPFILE ${obj}.d
    COMMENT "Compiling ${rel} for macOS ${arch}"
    VERBATIM)
  set(${out} ${${out}} ${obj} PARENT_SCOPE)
endfunction()

set(core_objects_x86_64 "")
set(core_objects_arm64 "")
foreach(slice ${ZTK_MAC_SLICES})
  string(REPLACE "|" ";" fields ${slice})
  list(GET fields 0 arch)
  list(GET fields 1 target)
  foreach(source ${ZTK_MAC_CORE})
    ztk_mac_compile(${source} ${arch} ${target} core "" core_objects_${arch})
  endforeach()
endforeach()

# One library: each slice linked against the stub with only the listed
# exports, then the slices merged.
function(ztk_mac_library name exports defines)
  set(slices "")
  foreach(slice ${ZTK_MAC_SLICES})
    string(REPLACE "|" ";" fields ${slice})
    list(GET fields 0 arch)
    list(GET fields 1 target)
    list(GET fields 2 version)
    set(objects ${core_objects_${arch}})
    foreach(source ${ZTK_MAC_OWN})
      ztk_mac_compile(${CMAKE_SOURCE_DIR}/${source} ${arch} ${target} ${name} "${defines}" objects)
    endforeach()
    set(out ${CMAKE_BINARY_DIR}/macos/${arch}/${name}.dylib)
    add_custom_command(
      OUTPUT ${out}
      COMMAND ${ZTK_MAC_LD} -arch ${arch} -platform_version macos ${version} ${version} -dylib
              -install_name @rpath/ZTKStrings.dylib -exported_symbols_list ${ZTK_MACOS_DIR}/${exports}
              -dead_strip -o ${out} ${objects} ${ZTK_MACOS_DIR}/libSystem.tbd
      DEPENDS ${objects} ${ZTK_MACOS_DIR}/${exports} ${ZTK_MACOS_DIR}/libSystem.tbd
      COMMENT "Linking ${name}.dylib for macOS ${arch}"
      VERBATIM)
    list(APPEND slices ${out})
  endforeach()
  add_custom_command(
    OUTPUT ${CMAKE_BINARY_DIR}/${name}.dylib
    COMMAND ${ZTK_MAC_LIPO} -create -output ${CMAKE_BINARY_DIR}/${name}.dylib ${slices}
    DEPENDS ${slices}
    COMMENT "Merging ${name}.dylib (x86_64 + arm64)"
    VERBATIM)
endfunction()

ztk_mac_library(ZTKStrings exports.txt "")
ztk_mac_library(ZTKStrings_probe exports_probe.txt "-DZTK_TEST_HOOKS")
set(ZTK_MACOS_SHIPPED ${CMAKE_BINARY_DIR}/ZTKStrings.dylib)
set(ZTK_MACOS_PROBE ${CMAKE_BINARY_DIR}/ZTKStrings_probe.dylib)
add_custom_target(ZTKStrings_macos ALL DEPENDS ${ZTK_MACOS_SHIPPED} ${ZTK_MACOS_PROBE})
