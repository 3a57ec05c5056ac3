# The Windows arm64 library (PE32+, ARM64), built on Linux by Debian's clang
# and lld-link with the project's own C declarations, import definitions and
# start-up code (cmake/windows-arm64/), libc++ header-only, no Windows SDK and
# no C runtime linked in. Two libraries come out, as from the other
# platforms' builds: ZTKStrings.dll, which ships, and ZTKStrings_probe.dll
# with the test hooks.
#
# Sets ZTK_WINARM_SHIPPED and ZTK_WINARM_PROBE (the files) and the target
# ZTKStrings_windows_arm64 that makes both.

set(ZTK_LLVM_VERSION 14 CACHE STRING "The Debian LLVM release whose clang and lld build the Windows arm64 library")
find_program(ZTK_WINARM_CLANG NAMES clang++-${ZTK_LLVM_VERSION} clang++ REQUIRED)
find_program(ZTK_WINARM_LINK NAMES lld-link-${ZTK_LLVM_VERSION} lld-link PATHS /usr/lib/llvm-${ZTK_LLVM_VERSION}/bin REQUIRED)
find_program(ZTK_WINARM_DLLTOOL NAMES llvm-dlltool-${ZTK_LLVM_VERSION} llvm-dlltool PATHS /usr/lib/llvm-${ZTK_LLVM_VERSION}/bin
             REQUIRED)
find_path(ZTK_LIBCXX_HEADERS NAMES __config PATHS /usr/lib/llvm-${ZTK_LLVM_VERSION}/include/c++/v1
          NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)

set(ZTK_WINARM_DIR ${CMAKE_SOURCE_DIR}/cmake/windows-arm64)
# The GNU flavour of the target: libc++ then needs no Visual C++ runtime
# headers. Everything it links comes from cmake/windows-arm64.
set(ZTK_WINARM_TARGET aarch64-w64-windows-gnu)
set(ZTK_WINARM_FLAGS -target ${ZTK_WINARM_TARGET} -std=c++17 -O2 -g0 -nostdlibinc -isystem ${ZTK_LIBCXX_HEADERS}
    -isystem ${ZTK_WINARM_DIR}/include -isystem ${CMAKE_SOURCE_DIR}/cmake/c_declarations -D_LIBCPP_HAS_NO_THREADS -D_LIBCPP_DISABLE_EXTERN_TEMPLATE -DZTK_TLS_BY_SYSTEM
    # No C++ runtime: nothing throws, nothing asks for type information, and
    # function-local statics are set up before a second thread can call.
    -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -fvisibility-inlines-hidden
    -I${CMAKE_SOURCE_DIR}/src -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Werror)

file(GLOB_RECURSE ZTK_WINARM_CORE CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/*.cpp)
list(FILTER ZTK_WINARM_CORE EXCLUDE REGEX "src/frame/(plugin_main|plugin_alloc)\\.cpp$")
set(ZTK_WINARM_OWN src/frame/plugin_main.cpp src/frame/plugin_alloc.cpp)
set(ZTK_WINARM_OUT ${CMAKE_BINARY_DIR}/windows-arm64)

# Compiles `source`; appends the object to the list `out`.
function(ztk_winarm_compile source variant defines out)
  file(RELATIVE_PATH rel ${CMAKE_SOURCE_DIR} ${source})
  string(REPLACE "/" "_" stem ${rel})
  set(obj ${ZTK_WINARM_OUT}/${variant}/${stem}.obj)
  file(MAKE_DIRECTORY ${ZTK_WINARM_OUT}/${variant})
  add_custom_command(
    OUTPUT ${obj}
    COMMAND ${ZTK_WINARM_CLANG} ${ZTK_WINARM_FLAGS} ${defines} -MD -MF ${obj}.d -c ${source} -o ${obj}
    DEPENDS ${source}
    DEPFILE ${obj}.d
    COMMENT "Compiling ${rel} for Windows arm64"
    VERBATIM)
  set(${out} ${${out}} ${obj} PARENT_SCOPE)
endfunction()

set(core_objects "")
foreach(source ${ZTK_WINARM_CORE})
  ztk_winarm_compile(${source} core "" core_objects)
endforeach()
# The start-up code, built free-standing so that its memory functions are
# not compiled into calls to themselves.
set(runtime_object ${ZTK_WINARM_OUT}/runtime.obj)
add_custom_command(
  OUTPUT ${runtime_object}
  COMMAND ${ZTK_WINARM_CLANG} -target ${ZTK_WINARM_TARGET} -std=c++17 -O2 -g0 -ffreestanding -fno-builtin
          -fno-exceptions -fno-rtti -Wall -Wextra -Werror -c ${ZTK_WINARM_DIR}/runtime.cpp -o ${runtime_object}
  DEPENDS ${ZTK_WINARM_DIR}/runtime.cpp
  COMMENT "Compiling the Windows arm64 start-up code"
  VERBATIM)

# The import libraries, one per system DLL, from the project's definitions.
file(GLOB ZTK_WINARM_DEFS CONFIGURE_DEPENDS ${ZTK_WINARM_DIR}/imports/*.def)
set(import_libraries "")
foreach(def ${ZTK_WINARM_DEFS})
  get_filename_component(dll ${def} NAME_WE)
  set(lib ${ZTK_WINARM_OUT}/imports/${dll}.lib)
  add_custom_command(
    OUTPUT ${lib}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${ZTK_WINARM_OUT}/imports
    COMMAND ${ZTK_WINARM_DLLTOOL} -m arm64 -d ${def} -l ${lib}
    DEPENDS ${def}
    COMMENT "Making the import library of ${dll}.dll"
    VERBATIM)
  list(APPEND import_libraries ${lib})
endforeach()

function(ztk_winarm_library name defines)
  set(objects ${core_objects} ${runtime_object})
  foreach(source ${ZTK_WINARM_OWN})
    ztk_winarm_compile(${CMAKE_SOURCE_DIR}/${source} ${name} "${defines}" objects)
  endforeach()
  set(out ${CMAKE_BINARY_DIR}/${name}.dll)
  add_custom_command(
    OUTPUT ${out}
    COMMAND ${ZTK_WINARM_LINK} /dll /machine:arm64 /entry:ztk_dll_entry /nodefaultlib /dynamicbase /nxcompat
            /highentropyva /opt:ref /opt:icf /Brepro /out:${out} /implib:${ZTK_WINARM_OUT}/${name}.lib
            ${objects} ${import_libraries}
    DEPENDS ${objects} ${import_libraries}
    COMMENT "Linking ${name}.dll for Windows arm64"
    VERBATIM)
endfunction()

ztk_winarm_library(ZTKStrings "")
ztk_winarm_library(ZTKStrings_probe "-DZTK_TEST_HOOKS")
set(ZTK_WINARM_SHIPPED ${CMAKE_BINARY_DIR}/ZTKStrings.dll)
set(ZTK_WINARM_PROBE ${CMAKE_BINARY_DIR}/ZTKStrings_probe.dll)
add_custom_target(ZTKStrings_windows_arm64 ALL DEPENDS ${ZTK_WINARM_SHIPPED} ${ZTK_WINARM_PROBE})
