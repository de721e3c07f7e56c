# Runs one fuzz target for SECONDS on a fresh corpus seeded by the seed generator. A crash, leak or
# sanitizer report fails the test (libFuzzer exits non-zero and leaves the reproducer in WORK).
set(corpus ${WORK}/${NAME}/corpus)
set(seeds ${WORK}/seeds)
file(MAKE_DIRECTORY ${corpus} ${seeds}/init ${seeds}/init_v1 ${seeds}/nvm ${seeds}/kernels)
# The bundled example joins the seeds when the tool has packed it.
set(extra)
if(EXAMPLE_DIR AND EXISTS ${EXAMPLE_DIR}/example_container.bin)
  set(extra ${EXAMPLE_DIR}/example_container.bin --nvm ${EXAMPLE_DIR}/example_calibration.bin)
endif()
execute_process(COMMAND ${SEEDS} ${seeds} ${extra} RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "seed generation failed")
endif()
set(seed_dir ${seeds}/${NAME})
execute_process(COMMAND ${FUZZER} -max_total_time=${SECONDS} -dict=${DICT} -rss_limit_mb=2048
                        -artifact_prefix=${WORK}/${NAME}/ -print_final_stats=1 ${corpus} ${seed_dir}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REGEX MATCH "stat::number_of_executed_units: *[0-9]+" execs "${err}")
message(STATUS "${NAME}: ${execs}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "fuzzer ${NAME} failed (exit ${rc}):\n${err}")
endif()
