# Installs the build into a fresh prefix, then builds the consumer program against it twice, through
# find_package(OzCmcParser CONFIG) and through pkg-config, and runs both on the bundled example.
# Run as: cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DEXAMPLE=... -DGENERATOR=...
#               -DC_COMPILER=... -DSANITIZE=... -P consumer_test.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " cmd "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${cmd}\n${out}\n${err}")
  endif()
  set(run_out "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(f lib/liboz_cmc_parser.so lib/liboz_cmc_parser.so.1 lib/liboz_log.so.1 lib/liboz_kovb.so.1
          lib/liboz_nvm.so.1 include/oz_cmc.h include/oz_nvm.h bin/ozcmc
          lib/cmake/OzCmcParser/OzCmcParserConfig.cmake lib/pkgconfig/oz_cmc_parser.pc)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

# A sanitized library needs the sanitizer runtime from the program; clang links its C++ parts (the
# library is C++) only when asked.
set(flags "")
set(link_flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
  set(link_flags "${flags}")
  if(C_COMPILER MATCHES "clang")
    string(APPEND link_flags " -fsanitize-link-c++-runtime -lstdc++")
  endif()
endif()

# 1. CMake package.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/consumer -B ${WORK_DIR}/cmake -G ${GENERATOR}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_PREFIX_PATH=${prefix} "-DCMAKE_C_FLAGS=${flags}"
    "-DCMAKE_EXE_LINKER_FLAGS=${link_flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake)
run(${WORK_DIR}/cmake/oz_consumer ${EXAMPLE})
if(NOT run_out MATCHES "filled slots: [1-9]")
  message(FATAL_ERROR "consumer (CMake package) printed:\n${run_out}")
endif()
message(STATUS "find_package consumer:\n${run_out}")

# 2. pkg-config.
find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config not found")
endif()
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(${PKG_CONFIG} --cflags --libs oz_cmc_parser)
string(STRIP "${run_out}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(link_list UNIX_COMMAND "${link_flags}")
run(${C_COMPILER} -std=c99 ${link_list} ${SOURCE_DIR}/tests/package/consumer/main.c ${pc_flags}
    -Wl,-rpath,${prefix}/lib -o ${WORK_DIR}/pc_consumer)
run(${WORK_DIR}/pc_consumer ${EXAMPLE})
if(NOT run_out MATCHES "filled slots: [1-9]")
  message(FATAL_ERROR "consumer (pkg-config) printed:\n${run_out}")
endif()
message(STATUS "pkg-config consumer (${pc_flags}):\n${run_out}")
