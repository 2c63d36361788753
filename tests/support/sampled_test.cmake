# lanfab_sampled_test(NAME COMMAND...): a test whose command has more cases than CI has time for. NAME runs a
# fixed sample and has the label "thorough". NAME_exhaustive runs all cases, with the option --exhaustive; it
# has the label "exhaustive" and is for request only. NAME has the label "sample", too: where the exhaustive
# tests run, it adds nothing.
function(lanfab_sampled_test name)
  add_test(NAME ${name} COMMAND ${ARGN})
  set_tests_properties(${name} PROPERTIES LABELS "thorough;sample")
  add_test(NAME ${name}_exhaustive COMMAND ${ARGN} --exhaustive)
  # More than ten times what the longest of them takes on an idle machine.
  set_tests_properties(${name}_exhaustive PROPERTIES LABELS exhaustive TIMEOUT 10800)
endfunction()
