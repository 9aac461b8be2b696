# corvane_python_test(<module>)
#
# One module of Python tests, <module>.py of the calling folder, run by CTest as one test. Its results
# go to <build>/test-results/<module>.xml, as those of a GoogleTest program do.
function(corvane_python_test module)
  add_test(
    NAME ${module}
    COMMAND
      python3 -B ${PROJECT_SOURCE_DIR}/tests/support/recorded_run.py --results
      ${PROJECT_BINARY_DIR}/test-results/${module}.xml ${CMAKE_CURRENT_SOURCE_DIR}/${module}.py)
  set_tests_properties(${module} PROPERTIES TIMEOUT 300)
endfunction()
