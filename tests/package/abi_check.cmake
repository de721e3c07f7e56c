# Compares the built library with the committed ABI baseline (abi/liboz_cmc_parser.abi, made by abidw).
# Any difference in the exported functions or in the public types they reach fails; when a change is
# deliberate, regenerate the baseline with `cmake --build <build> --target oz_abi_baseline` and commit it.
# Run as: cmake -DLIB=... -DBASELINE=... -DHEADERS=... -P abi_check.cmake
find_program(ABIDIFF abidiff)
if(NOT ABIDIFF)
  message("ABI check skipped: abidiff not found (Debian package abigail-tools)")
  return()
endif()
if(NOT EXISTS ${BASELINE})
  message(FATAL_ERROR "no ABI baseline at ${BASELINE}; make one with the oz_abi_baseline target")
endif()
execute_process(COMMAND ${ABIDIFF} --no-added-syms --headers-dir2 ${HEADERS} ${BASELINE} ${LIB}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the ABI of ${LIB} differs from the baseline (abidiff status ${rc}):\n${out}${err}\n"
                      "If the change is deliberate, run the oz_abi_baseline target and commit "
                      "abi/liboz_cmc_parser.abi.")
endif()
message(STATUS "ABI matches the baseline")
