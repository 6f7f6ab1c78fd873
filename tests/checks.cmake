# Tests that run a script of the project: the exported symbols, and with label `check` what scripts/check looks at.

add_test(NAME exported_symbols COMMAND ${PROJECT_SOURCE_DIR}/scripts/exported-symbols --check $<TARGET_FILE:kiv>)

foreach(misused Macho callbacks)
  add_test(NAME ${misused}.mustNotCompile
      COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/support/must-not-compile ${CMAKE_CXX_COMPILER}
              ${CMAKE_CURRENT_SOURCE_DIR}/programs/${misused}_must_not_compile.cpp -I${PROJECT_SOURCE_DIR}/src)
endforeach()

function(kiv_check name)
  add_test(NAME ${name} COMMAND ${ARGN} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  set_tests_properties(${name} PROPERTIES
      LABELS check TIMEOUT 1500 RUN_SERIAL ON ENVIRONMENT "KIV_BUILD_DIR=${PROJECT_BINARY_DIR}")
endfunction()

kiv_check(check.format scripts/check format)
kiv_check(check.tidy scripts/check tidy)
kiv_check(check.headers scripts/check headers)
kiv_check(check.arrows scripts/check arrows)
kiv_check(check.members scripts/declared-members $<TARGET_FILE:kiv>)
kiv_check(check.packaging scripts/check packaging)
if(KIV_BUILD_DOCS)
  kiv_check(docs.regions scripts/docs-regions)
  if(TARGET kiv-tool)
    kiv_check(docs.errors scripts/docs-errors)
  endif()
  if(KIV_BUILD_EXAMPLES)
    kiv_check(docs.pictures scripts/docs --check)
  endif()
endif()
