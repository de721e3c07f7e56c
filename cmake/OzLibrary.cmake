# Helpers that assemble liboz_cmc_parser from the subsystem folders.
#
# Every subsystem folder calls oz_library_sources() (baseline x86-64 code) and, for vector rows,
# oz_library_isa_sources(sse41|avx2|avx512 ...). oz_finish_library() then links the same objects three ways:
#   oz_cmc_parser   the shared library (SONAME liboz_cmc_parser.so.1, exact export list)
#   oz_cmc_internal a static library with every internal symbol reachable, for the tool and benchmarks
#   oz_cmc_faultsim the same static library with the fault-injecting heap, for the tests

# Shared libraries resolve every symbol at link time, except in sanitizer builds, where clang's
# runtime lives in the executable.
if(OZ_SANITIZE)
  set(OZ_NO_UNDEFINED "")
else()
  set(OZ_NO_UNDEFINED -Wl,--no-undefined)
endif()

set(OZ_LIBRARY_FLAGS -fno-exceptions -fno-rtti -fvisibility=hidden -fvisibility-inlines-hidden)
set(OZ_LIBRARY_INCLUDES
    ${PROJECT_SOURCE_DIR}/include
    ${PROJECT_SOURCE_DIR}
    ${PROJECT_SOURCE_DIR}/platform/include)

add_library(oz_core OBJECT)
add_library(oz_core_sse41 OBJECT)
add_library(oz_core_avx2 OBJECT)
add_library(oz_core_avx512 OBJECT)
foreach(t oz_core oz_core_sse41 oz_core_avx2 oz_core_avx512)
  target_compile_options(${t} PRIVATE ${OZ_LIBRARY_FLAGS})
  target_include_directories(${t} PRIVATE ${OZ_LIBRARY_INCLUDES})
endforeach()
# Only the ISA files are built for more than baseline x86-64; the entry points choose them at run time.
target_compile_options(oz_core PRIVATE -msse2)
target_compile_options(oz_core_sse41 PRIVATE -msse4.1)
target_compile_options(oz_core_avx2 PRIVATE -mavx2)
target_compile_options(oz_core_avx512 PRIVATE -mavx512f -mavx512bw -mavx512vl -mavx512dq)
# GCC 12's AVX-512 intrinsics pass an undefined vector as the unused operand of their unmasked forms
# and, once inlined, warn that it may be used uninitialized: a warning about the compiler's header.
target_compile_options(oz_core_avx512 PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)

function(oz_library_sources)
  target_sources(oz_core PRIVATE ${ARGN})
endfunction()

function(oz_library_isa_sources isa)
  target_sources(oz_core_${isa} PRIVATE ${ARGN})
endfunction()

function(oz_finish_library)
  # An object library without sources is not allowed; keep the ISA libraries valid while empty.
  foreach(isa sse41 avx2 avx512)
    get_target_property(srcs oz_core_${isa} SOURCES)
    if(NOT srcs)
      target_sources(oz_core_${isa} PRIVATE ${PROJECT_SOURCE_DIR}/common/isa_anchor.cc)
    endif()
  endforeach()

  set(objects $<TARGET_OBJECTS:oz_core> $<TARGET_OBJECTS:oz_core_sse41> $<TARGET_OBJECTS:oz_core_avx2>
      $<TARGET_OBJECTS:oz_core_avx512>)

  add_library(oz_cmc_parser SHARED ${objects} $<TARGET_OBJECTS:oz_heap>)
  set_target_properties(oz_cmc_parser PROPERTIES
      OUTPUT_NAME oz_cmc_parser VERSION ${PROJECT_VERSION} SOVERSION 1
      LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/liboz_cmc_parser.map)
  target_link_options(oz_cmc_parser PRIVATE
      -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/liboz_cmc_parser.map ${OZ_NO_UNDEFINED})
  target_include_directories(oz_cmc_parser PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
  target_link_libraries(oz_cmc_parser PUBLIC oz_log oz_kovb oz_nvm)

  foreach(variant internal faultsim)
    if(variant STREQUAL "internal")
      set(heap oz_heap)
    else()
      set(heap oz_heap_faultsim)
    endif()
    add_library(oz_cmc_${variant} STATIC ${objects} $<TARGET_OBJECTS:${heap}>)
    target_include_directories(oz_cmc_${variant} PUBLIC ${OZ_LIBRARY_INCLUDES})
    target_link_libraries(oz_cmc_${variant} PUBLIC oz_log oz_kovb oz_nvm)
  endforeach()
endfunction()
