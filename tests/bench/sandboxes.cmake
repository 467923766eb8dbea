# The bench where namespaces are refused: in a chroot when the tests run as root, else, and as an ordinary user,
# with proot. Every run of the tests takes all scenarios into a container on this processor, and a sample of them
# elsewhere; `scripts/check confined` tries everything (all-confined).
add_executable(confined ${CMAKE_CURRENT_SOURCE_DIR}/bench/confined.cpp)

# Every so many scenario files are the sample, so that all folders have their share of it. Under proot a run
# takes several times as long.
set(all_scenarios "")
set(sample_of_container "")
set(sample_of_user "")
set(number 0)
foreach(scenario IN LISTS SCENARIOS)
  list(APPEND all_scenarios ${CMAKE_CURRENT_SOURCE_DIR}/${scenario})
  math(EXPR of_container "${number} % 16")
  math(EXPR of_user "${number} % 48")
  foreach(who container user)
    if(of_${who} EQUAL 0)
      list(APPEND sample_of_${who} ${CMAKE_CURRENT_SOURCE_DIR}/${scenario})
    endif()
  endforeach()
  math(EXPR number "${number} + 1")
endforeach()

foreach(who container user)
  set(confined $<TARGET_FILE:confined>)
  if(who STREQUAL user)
    list(APPEND confined --user)
  endif()
  if(who STREQUAL container)
    set(scenarios ${all_scenarios})
  else()
    set(scenarios ${sample_of_${who}})
  endif()
  add_test(NAME sandbox/${who}/scenarios COMMAND ${confined} $<TARGET_FILE:scenario> ${scenarios})
  add_test(NAME sandbox/${who}/bench COMMAND ${confined} $<TARGET_FILE:rc_tests> --gtest_filter=Bench.*)
  add_test(NAME sandbox/${who}/story
           COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/bench/same-story $<TARGET_FILE:rcbench> ${confined})
  set_tests_properties(sandbox/${who}/scenarios sandbox/${who}/bench sandbox/${who}/story PROPERTIES LABELS host)
  if(RC_MIPS_DIR)
    add_test(NAME mips/sandbox/${who}/scenarios
             COMMAND ${confined} $<TARGET_FILE:scenario> --program ${RC_MIPS_DIR}/bin/rc --emulate ${sample_of_${who}})
    set_tests_properties(mips/sandbox/${who}/scenarios PROPERTIES LABELS mips)
  endif()
endforeach()
