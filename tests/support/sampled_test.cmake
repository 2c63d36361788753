# lanfab_sampled_test(NAME COMMAND...): adds a test whose command has more cases than CI has time for. NAME
# runs a fixed sample and has the labels "thorough" and "sample". NAME_exhaustive runs all cases, with the
# option --exhaustive, only on request; it has the label "exhaustive". Exhaustive test runs leave out the
# label "sample", which adds nothing there.
function(lanfab_sampled_test name)
  add_test(NAME ${name} COMMAND ${ARGN})
  set_tests_properties(${name} PROPERTIES LABELS "thorough;sample")
  lanfab_exhaustive_test(${name} ${ARGN})
endfunction()

# lanfab_exhaustive_test(NAME COMMAND...): adds only NAME_exhaustive: CI has no time even for a sample.
function(lanfab_exhaustive_test name)
  add_test(NAME ${name}_exhaustive COMMAND ${ARGN} --exhaustive)
  # More than ten times the duration of the longest one on an idle machine.
  set_tests_properties(${name}_exhaustive PROPERTIES LABELS exhaustive TIMEOUT 10800)
endfunction()
